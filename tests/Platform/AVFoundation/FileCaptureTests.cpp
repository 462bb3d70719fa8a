#include "Sounds.h"

#include <AVFoundation/FileCapture.h>

#include <gmock/gmock.h>

#include <QFile>
#include <QTemporaryDir>
#include <atomic>
#include <chrono>
#include <cmath>
#include <sndfile.h>
#include <thread>

namespace parlowen::testing {
namespace {

constexpr std::uint32_t chunk = 2048;

/// Plays a file fast and notes how many buffers had come when the file was finished.
class Playing {
public:
    explicit Playing(const QString& path, double speed = 200)
        : capture_({path, speed, [this] { finished_.push_back(sound.buffers().size()); }}) {
        problem = capture_.start(chunk, [this](Buffer buffer) { sound.take(std::move(buffer)); });
    }
    void stop() { capture_.stop(); }
    CaptureSource& source() { return capture_; }
    const std::vector<std::size_t>& finished() const { return finished_; } // after stop()

    Collector sound;
    std::optional<QString> problem;

private:
    std::vector<std::size_t> finished_;
    FileCapture capture_;
};

Wave channelsApart(double rate) {
    return [rate](std::size_t frame, int channel) { return toneOf(300.0 * (channel + 1), rate)(frame, channel); };
}

class FileCaptureTest : public ::testing::Test {
protected:
    QString pathOf(const QString& name) const { return directory_.filePath(name); }

    QString write(const QString& name, const QByteArray& bytes) const {
        QFile file(pathOf(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return file.fileName();
    }

    QString tone(const QString& name, int format, int rate, int channels, std::size_t frames) const {
        EXPECT_TRUE(writeSoundFile(pathOf(name), format, rate, channels, frames, channelsApart(rate)));
        return pathOf(name);
    }

    /// All of a file but its last tenth.
    QString cut(const QString& whole) const {
        QFile file(whole);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return write(QStringLiteral("cut"), file.read(file.size() * 9 / 10));
    }

private:
    QTemporaryDir directory_;
};

/// Root-mean-square difference between what was played and what was written, in dB of full scale.
double errorOf(const std::vector<Buffer>& buffers, std::size_t frames, const Wave& wave) {
    double sum = 0;
    const int channels = buffers.front()->format().channelCount();
    for (std::size_t i = 0; i < frames; ++i)
        for (int channel = 0; channel < channels; ++channel) {
            const float* samples = buffers.at(i / chunk)->floatChannelData(channel);
            const double sample = samples[i % chunk * static_cast<std::size_t>(channels)];
            sum += std::pow(sample - wave(i, channel), 2);
        }
    return 10 * std::log10(sum / static_cast<double>(frames) / channels);
}

} // namespace

TEST_F(FileCaptureTest, PlaysEveryFormatAndChannelCountToItsLastFrame) {
    struct Case {
        const char* name;
        int format, rate, channels;
        double error;
    };
    for (const Case& c : {Case{"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, -90},
                          Case{"b.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 8000, 2, -120},
                          Case{"c.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 96000, 6, -120},
                          Case{"d.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 2, -90},
                          Case{"e.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 22050, 1, -30}}) {
        SCOPED_TRACE(c.name);
        constexpr std::size_t frames = 10 * chunk + 77;
        const QString path = tone(QString::fromLatin1(c.name), c.format, c.rate, c.channels, frames);
        EXPECT_EQ(FileCapture::problemWith(path), std::nullopt);
        Playing playing(path);
        EXPECT_EQ(playing.source().format(), floatFormat(c.rate, c.channels));
        ASSERT_EQ(playing.problem, std::nullopt);
        ASSERT_TRUE(playing.sound.waitForCount(14));
        playing.stop();
        EXPECT_THAT(playing.finished(), ::testing::ElementsAre(11U));
        const std::vector<Buffer> buffers = playing.sound.buffers();
        for (const Buffer& buffer : buffers)
            ASSERT_EQ(buffer->frameLength(), chunk);
        EXPECT_LT(errorOf(buffers, frames, channelsApart(c.rate)), c.error);
        for (std::size_t i = 0; i < chunk; ++i)
            ASSERT_EQ(buffers.at(12)->floatChannelData(0)[i], 0.F) << "the time after the end is silent";
    }
}

TEST_F(FileCaptureTest, FinishesWithTheLastBufferWhenItIsFull) {
    Playing playing(tone(QStringLiteral("full.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, 3 * chunk));
    ASSERT_TRUE(playing.sound.waitForCount(6));
    playing.stop();
    EXPECT_THAT(playing.finished(), ::testing::ElementsAre(3U));
}

TEST_F(FileCaptureTest, KeepsThePaceOfRealTime) {
    constexpr double speed = 4;
    Playing playing(tone(QStringLiteral("pace.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1, 32000), speed);
    constexpr std::size_t count = 21;
    ASSERT_TRUE(playing.sound.waitForCount(count));
    playing.stop();
    const double expected = (count - 1) * chunk / 16000. / speed * 1000;
    const double elapsed = playing.sound.arrivals().at(count - 1);
    EXPECT_GT(elapsed, 0.9 * expected);
    EXPECT_LT(elapsed, 2 * expected);
}

TEST_F(FileCaptureTest, StopsFromAnotherThreadAndStartsAnew) {
    const QString path = tone(QStringLiteral("again.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, 48000);
    FileCapture capture({path, 20, {}});
    for (int round = 0; round < 3; ++round) {
        Collector sound;
        std::atomic<bool> stopped = false;
        const auto sink = [&](Buffer buffer) {
            EXPECT_FALSE(stopped);
            sound.take(std::move(buffer));
        };
        ASSERT_EQ(capture.start(chunk, sink), std::nullopt);
        EXPECT_NE(capture.start(chunk, sink), std::nullopt) << "it runs already";
        ASSERT_TRUE(sound.waitForCount(2));
        std::thread([&] {
            capture.stop();
            stopped = true;
        }).join();
        EXPECT_LT(errorOf(sound.buffers(), chunk, channelsApart(48000)), -90) << "a start plays from the beginning";
    }
}

TEST_F(FileCaptureTest, NamesTheProblemOfAFileThatIsNoSound) {
    const QString wave = tone(QStringLiteral("whole.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, 4800);
    QFile whole(wave);
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    const QByteArray header = whole.read(44);
    QByteArray oddRate = header + QByteArray(4000, '\1');
    oddRate.replace(24, 4, QByteArray::fromHex("00ca9a3b")); // a billion Hz
    const std::vector<std::pair<QString, QString>> cases = {
        {pathOf(QStringLiteral("missing.wav")), QStringLiteral("There is no file")},
        {pathOf(QStringLiteral(".")), QStringLiteral("This is not a file")},
        {QStringLiteral("/dev/zero"), QStringLiteral("This is not a file")},
        {write(QStringLiteral("text.wav"), "This is no sound.\n"), QStringLiteral("no sound that can be played")},
        {write(QStringLiteral("empty.wav"), {}), QStringLiteral("no sound that can be played")},
        {write(QStringLiteral("cut.wav"), header.left(20)), QStringLiteral("no sound that can be played")},
        {write(QStringLiteral("silent.wav"), header), QStringLiteral("There is no sound in")},
        {write(QStringLiteral("rate.wav"), oddRate), QStringLiteral("sample rate of this sound cannot be used")},
    };
    for (const auto& [path, words] : cases) {
        SCOPED_TRACE(path.toStdString());
        const std::optional<QString> problem = FileCapture::problemWith(path);
        ASSERT_TRUE(problem.has_value());
        EXPECT_TRUE(problem->contains(words) && problem->contains(path)) << problem->toStdString();
        FileCapture capture({path, 1, {}});
        EXPECT_EQ(capture.start(chunk, [](const Buffer&) { ADD_FAILURE() << "a sound"; }), problem);
    }
}

TEST_F(FileCaptureTest, PlaysWhatIsLeftOfACutFile) {
    constexpr std::size_t frames = 200000;
    for (const int format :
         {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_OGG | SF_FORMAT_VORBIS}) {
        SCOPED_TRACE(format);
        const QString path = cut(tone(QStringLiteral("whole"), format, 44100, 1, frames));
        ASSERT_EQ(FileCapture::problemWith(path), std::nullopt);
        Playing playing(path);
        ASSERT_EQ(playing.problem, std::nullopt);
        ASSERT_TRUE(playing.sound.waitForCount(frames / chunk + 2));
        playing.stop();
        EXPECT_LT(errorOf(playing.sound.buffers(), frames / 4, channelsApart(44100)), -30);
        ASSERT_EQ(playing.finished().size(), 1U);
        EXPECT_LT(playing.finished().front(), frames / chunk);
    }
}

} // namespace parlowen::testing
