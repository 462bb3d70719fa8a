#include "Sounds.h"

#include <AVFoundation/CaptureSource.h>
#include <Foundation/ConsoleLog.h>
#include <support/PrivatePulseAudio.h>
#include <support/WaitFor.h>

#include <gmock/gmock.h>

#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <sndfile.h>
#include <thread>

namespace parlowen::testing {
namespace {

/// A 1 kHz tone of 20 s, being played into the default sink.
class Tone {
public:
    Tone() {
        const QString path = directory_.filePath(QStringLiteral("tone.wav"));
        EXPECT_TRUE(writeSoundFile(path, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 1, 20 * 48000, toneOf(1000, 48000)));
        endWithParent(player_);
        player_.start(QStringLiteral("paplay"), {path});
        EXPECT_TRUE(player_.waitForStarted());
    }
    ~Tone() {
        player_.kill();
        player_.waitForFinished();
    }
    Tone(const Tone&) = delete;
    Tone& operator=(const Tone&) = delete;

private:
    QTemporaryDir directory_;
    QProcess player_;
};

CaptureSource::Sink into(Collector& sound) {
    return [&sound](Buffer buffer) { sound.take(std::move(buffer)); };
}

/// The buffers' sound as the speech pipeline would pass it on.
std::vector<double> asSpeech(const std::vector<Buffer>& buffers) {
    const auto converter = AVAudioConverter::make(buffers.front()->format(), speechFormat());
    std::vector<double> all;
    for (const Buffer& input : buffers) {
        const std::uint32_t asked = askedFor(input->frameLength(), input->format().sampleRate());
        const Buffer output = AVAudioPCMBuffer::make(speechFormat(), asked);
        output->setFrameLength(asked);
        EXPECT_EQ(converter->convert(*output, [&input] { return input; }), std::nullopt);
        all.insert(all.end(), output->int16ChannelData(0), output->int16ChannelData(0) + asked);
    }
    return all;
}

bool isLoud(const Buffer& buffer) {
    const float* samples = buffer->floatChannelData(0);
    return std::any_of(samples, samples + buffer->frameLength(), [](float sample) { return sample > 0.4F; });
}

} // namespace

TEST(PulseCapture, CapturesWhatIsPlayed) {
    PrivatePulseAudio server;
    ASSERT_TRUE(server.isReady()) << server.output().toStdString();
    const Tone tone;
    const std::unique_ptr<CaptureSource> source = defaultInputCapture()();
    ASSERT_EQ(source->format(), floatFormat(48000, 2));
    Collector sound;
    ASSERT_EQ(source->start(2048, into(sound)), std::nullopt);
    ASSERT_TRUE(waitFor([&sound] {
        const std::vector<Buffer> buffers = sound.buffers();
        return !buffers.empty() && isLoud(buffers.back());
    }));
    const std::size_t first = sound.buffers().size();
    ASSERT_TRUE(sound.waitForCount(first + 20));
    source->stop();
    std::vector<Buffer> buffers = sound.buffers();
    for (const Buffer& buffer : buffers)
        ASSERT_EQ(buffer->frameLength(), 2048U);
    buffers.erase(buffers.begin(), buffers.begin() + static_cast<std::ptrdiff_t>(first));
    std::vector<double> speech = asSpeech(buffers);
    speech.erase(speech.begin(), speech.begin() + 400);
    EXPECT_LT(worstImpurity(speech, 1000, 100), -50) << "neither gaps nor other sound";
}

TEST(PulseCapture, KeepsTheSourcesOwnShapeAndTheAskedPace) {
    PrivatePulseAudio server({QStringLiteral("module-null-sink sink_name=mono rate=44100 channels=1")});
    ASSERT_TRUE(server.isReady()) << server.output().toStdString();
    const std::unique_ptr<CaptureSource> source = defaultInputCapture()();
    Collector sound;
    ASSERT_EQ(source->start(1024, into(sound)), std::nullopt);
    EXPECT_EQ(source->format(), floatFormat(44100, 1));
    EXPECT_NE(source->start(1024, into(sound)), std::nullopt) << "it runs already";
    constexpr std::size_t count = 48;
    ASSERT_TRUE(sound.waitForCount(count));
    source->stop();
    const std::vector<double> arrivals = sound.arrivals();
    const double asked = 1024 / 44.1;
    const double mean = arrivals.at(count - 1) / (count - 1);
    EXPECT_GT(mean, 0.7 * asked);
    EXPECT_LT(mean, 1.3 * asked);
    double longest = 0;
    for (std::size_t i = 1; i < count; ++i)
        longest = std::max(longest, arrivals[i] - arrivals[i - 1]);
    ::testing::Test::RecordProperty("longest_spacing_milliseconds", std::to_string(longest));
    EXPECT_LT(longest, 10 * asked);
}

TEST(PulseCapture, StopsAtOnceAndStartsAgain) {
    PrivatePulseAudio server;
    ASSERT_TRUE(server.isReady()) << server.output().toStdString();
    const std::unique_ptr<CaptureSource> source = defaultInputCapture()();
    for (int round = 0; round < 3; ++round) {
        std::atomic<bool> stopped = false;
        Collector sound;
        const auto sink = [&](Buffer buffer) {
            EXPECT_FALSE(stopped);
            sound.take(std::move(buffer));
        };
        ASSERT_EQ(source->start(512, sink), std::nullopt);
        ASSERT_TRUE(sound.waitForCount(2));
        std::thread([&] {
            source->stop();
            stopped = true;
        }).join();
    }
}

TEST(PulseCapture, SaysAtOnceThatThereIsNoServer) {
    const QTemporaryDir directory;
    qputenv("PULSE_SERVER", "unix:" + directory.filePath(QStringLiteral("nobody")).toUtf8());
    const auto start = std::chrono::steady_clock::now();
    const std::unique_ptr<CaptureSource> source = defaultInputCapture()();
    EXPECT_EQ(source->format(), std::nullopt);
    const std::optional<QString> error = source->start(2048, [](const Buffer&) {});
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(error->startsWith(QStringLiteral("There is no connection to the audio server: ")))
        << error->toStdString();
    source->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    qunsetenv("PULSE_SERVER");
}

TEST(PulseCapture, SaysThatThereIsNothingToRecordFrom) {
    PrivatePulseAudio server(QStringList{});
    ASSERT_TRUE(server.isReady()) << server.output().toStdString();
    const std::unique_ptr<CaptureSource> source = defaultInputCapture()();
    EXPECT_EQ(source->format(), std::nullopt);
    const std::optional<QString> error = source->start(2048, [](const Buffer&) {});
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(error->startsWith(QStringLiteral("The audio server has nothing to record from: ")))
        << error->toStdString();
}

TEST(PulseCapture, BearsTheServersDeath) {
    PrivatePulseAudio server;
    ASSERT_TRUE(server.isReady()) << server.output().toStdString();
    std::atomic<int> lines = 0;
    const ConsoleLogCapture log(
        [&lines](const QString& line) { lines += line.startsWith(QStringLiteral("❌ 录音中断")); });
    const std::unique_ptr<CaptureSource> source = defaultInputCapture()();
    Collector sound;
    ASSERT_EQ(source->start(512, into(sound)), std::nullopt);
    ASSERT_TRUE(sound.waitForCount(2));
    server.kill();
    EXPECT_TRUE(waitFor([&lines] { return lines == 1; }));
    source->stop();
    EXPECT_NE(source->start(512, into(sound)), std::nullopt);
    EXPECT_EQ(lines, 1);
}

} // namespace parlowen::testing
