#include "FileCapture.h"

#include "AVAudioConverter.h"

#include <Foundation/Phrase.h>

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <numeric>
#include <sndfile.h>
#include <thread>
#include <utility>
#include <vector>

namespace parlowen {

namespace {

constexpr Phrase takenAway{"The file was taken away: %1", "文件已不在：%1"};
constexpr Phrase noFile{"There is no file %1", "没有文件 %1"};
constexpr Phrase notAFile{"This is not a file: %1", "这不是文件：%1"};
constexpr Phrase noPermission{"There is no permission to read %1", "没有权限读取 %1"};
constexpr Phrase noSoundFile{"This is no sound that can be played (WAV, FLAC or Ogg): %1",
                             "不是能播放的声音文件（WAV、FLAC 或 Ogg）：%1"};
constexpr Phrase emptySound{"There is no sound in %1", "%1 里没有声音"};
constexpr Phrase badRate{"The sample rate of this sound cannot be used (%1 Hz): %2", "无法使用该采样率（%1 Hz）：%2"};

using Clock = std::chrono::steady_clock;

/// A sound file open for reading.
class SoundFile {
public:
    /// Check isOpen(): whatever is no readable sound file is simply not open.
    explicit SoundFile(const QString& path);

    bool isOpen() const { return handle_ != nullptr; }
    int sampleRate() const { return info_.samplerate; }
    int channelCount() const { return info_.channels; }
    /// Reads up to that many frames, interleaved; fewer only at the sound's end or at a fault.
    sf_count_t read(float* samples, sf_count_t frames);
    /// True once the last frame was read, or nothing more can be read.
    bool atEnd() const { return atEnd_; }

private:
    struct Close {
        void operator()(SNDFILE* handle) const { sf_close(handle); }
    };
    SF_INFO info_{};
    std::unique_ptr<SNDFILE, Close> handle_;
    sf_count_t position_ = 0;
    bool atEnd_ = false;
};

SoundFile::SoundFile(const QString& path) {
    const QFileInfo file(path);
    if (file.isFile()) // the library would take "-" for the standard input, and wait on a pipe
        handle_.reset(sf_open(QFile::encodeName(file.absoluteFilePath()).constData(), SFM_READ, &info_));
}

sf_count_t SoundFile::read(float* samples, sf_count_t frames) {
    sf_count_t done = 0;
    while (done < frames) {
        const sf_count_t got = sf_readf_float(handle_.get(), samples + done * info_.channels, frames - done);
        if (got <= 0)
            break;
        done += got;
    }
    position_ += done;
    atEnd_ = done < frames || position_ == info_.frames;
    return done;
}

std::optional<AVAudioFormat> formatOf(const SoundFile& file) {
    if (!file.isOpen())
        return std::nullopt;
    return AVAudioFormat::make(AVAudioCommonFormat::Float32, file.sampleRate(), file.channelCount(), true);
}

bool hasSound(SoundFile& file) {
    std::vector<float> frame(static_cast<std::size_t>(file.channelCount()));
    return file.read(frame.data(), 1) == 1;
}

bool isConvertible(const AVAudioFormat& format) {
    const std::optional<AVAudioFormat> speech = AVAudioFormat::make(AVAudioCommonFormat::Int16, 16000, 1, false);
    return AVAudioConverter::make(format, *speech) != nullptr;
}

float peakOf(const AVAudioPCMBuffer& buffer) {
    const auto samples = static_cast<std::ptrdiff_t>(buffer.frameLength() * buffer.format().channelCount());
    const float* first = buffer.floatChannelData(0);
    return std::accumulate(first, first + samples, 0.0F,
                           [](float peak, float sample) { return std::max(peak, std::abs(sample)); });
}

} // namespace

/// One run through the file, on a thread of its own.
class FileCapture::Player {
public:
    Player(const Options& options, SoundFile file, const AVAudioFormat& format, std::uint32_t framesPerBuffer,
           Sink sink)
        : options_(options)
        , file_(std::move(file))
        , format_(format)
        , framesPerBuffer_(framesPerBuffer)
        , sink_(std::move(sink))
        , thread_([this] { run(); }) {}

    ~Player() {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }

    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

private:
    void run();
    bool waitUntil(Clock::time_point due);
    void readInto(AVAudioPCMBuffer& buffer);

    const Options options_;
    SoundFile file_;
    const AVAudioFormat format_;
    const std::uint32_t framesPerBuffer_;
    const Sink sink_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false; ///< under mutex_
    std::thread thread_;    ///< last: it uses all the others
};

/// True once it is due, false when the player stops.
bool FileCapture::Player::waitUntil(Clock::time_point due) {
    std::unique_lock lock(mutex_);
    return !wake_.wait_until(lock, due, [this] { return stopping_; });
}

/// Buffers are due on a grid that is laid from the start, so a late one delays none of the others.
void FileCapture::Player::run() {
    const std::chrono::duration<double> pace(framesPerBuffer_ / format_.sampleRate() / options_.speed);
    const Clock::time_point start = Clock::now();
    for (std::uint64_t count = 1;; ++count) {
        std::shared_ptr<AVAudioPCMBuffer> buffer = AVAudioPCMBuffer::make(format_, framesPerBuffer_);
        const bool wasAtEnd = file_.atEnd();
        if (buffer)
            readInto(*buffer);
        if (!waitUntil(start + std::chrono::duration_cast<Clock::duration>(pace * static_cast<double>(count))))
            return;
        if (buffer && options_.meter)
            options_.meter->note(peakOf(*buffer));
        if (buffer)
            sink_(std::move(buffer));
        if (file_.atEnd() && !wasAtEnd && options_.onFinished)
            options_.onFinished();
    }
}

/// Fills the buffer from the file; what the file no longer has stays silent.
void FileCapture::Player::readInto(AVAudioPCMBuffer& buffer) {
    buffer.setFrameLength(framesPerBuffer_);
    if (!file_.atEnd())
        file_.read(buffer.floatChannelData(0), framesPerBuffer_);
}

FileCapture::FileCapture(Options options)
    : options_(std::move(options)) {}

FileCapture::~FileCapture() { FileCapture::stop(); }

std::optional<AVAudioFormat> FileCapture::format() { return formatOf(SoundFile(options_.path)); }

Result<void> FileCapture::start(std::uint32_t framesPerBuffer, Sink sink) {
    if (player_)
        return failure(QStringLiteral("This file is being played already."));
    if (framesPerBuffer == 0 || !(options_.speed > 0))
        return failure(QStringLiteral("The size of a buffer and the speed must be above 0."));
    if (Result<void> readable = check(options_.path); !readable)
        return readable;
    SoundFile file(options_.path);
    const std::optional<AVAudioFormat> format = formatOf(file);
    if (!format)
        return failure(takenAway.here(options_.path));
    player_ = std::make_unique<Player>(options_, std::move(file), *format, framesPerBuffer, std::move(sink));
    return {};
}

void FileCapture::stop() { player_.reset(); }

Result<void> FileCapture::check(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists())
        return failure(noFile.here(path));
    if (!info.isFile())
        return failure(notAFile.here(path));
    if (!info.isReadable())
        return failure(noPermission.here(path));
    SoundFile file(path);
    const std::optional<AVAudioFormat> format = formatOf(file);
    if (!format)
        return failure(noSoundFile.here(path));
    if (!hasSound(file))
        return failure(emptySound.here(path));
    if (!isConvertible(*format))
        return failure(badRate.here(QString::number(file.sampleRate()), path));
    return {};
}

} // namespace parlowen
