#include "FileCapture.h"

#include "AVAudioConverter.h"
#include "SoundFile.h"

#include <QFileInfo>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

namespace parlowen {

namespace {

using Clock = std::chrono::steady_clock;

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

std::optional<QString> FileCapture::start(std::uint32_t framesPerBuffer, Sink sink) {
    if (player_)
        return QStringLiteral("This file is being played already.");
    if (framesPerBuffer == 0 || !(options_.speed > 0))
        return QStringLiteral("The size of a buffer and the speed must be above 0.");
    if (std::optional<QString> problem = problemWith(options_.path))
        return problem;
    SoundFile file(options_.path);
    const std::optional<AVAudioFormat> format = formatOf(file);
    if (!format)
        return QStringLiteral("The file was taken away: %1").arg(options_.path);
    player_ = std::make_unique<Player>(options_, std::move(file), *format, framesPerBuffer, std::move(sink));
    return std::nullopt;
}

void FileCapture::stop() { player_.reset(); }

std::optional<QString> FileCapture::problemWith(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists())
        return QStringLiteral("There is no file %1").arg(path);
    if (!info.isFile())
        return QStringLiteral("This is not a file: %1").arg(path);
    if (!info.isReadable())
        return QStringLiteral("There is no permission to read %1").arg(path);
    SoundFile file(path);
    const std::optional<AVAudioFormat> format = formatOf(file);
    if (!format)
        return QStringLiteral("This is no sound that can be played (WAV, FLAC or Ogg): %1").arg(path);
    if (!hasSound(file))
        return QStringLiteral("There is no sound in %1").arg(path);
    if (!isConvertible(*format))
        return QStringLiteral("The sample rate of this sound cannot be used (%1 Hz): %2")
            .arg(file.sampleRate())
            .arg(path);
    return std::nullopt;
}

} // namespace parlowen
