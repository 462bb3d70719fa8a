#include "Sounds.h"
#include "support/Testing.h"
#include <AVFoundation/AVAudioEngine.h>
#include <AVFoundation/FileCapture.h>
#include <QTemporaryDir>
#include <support/FakeCapture.h>

namespace parlowen::testing {
namespace {

constexpr std::uint32_t chunk = 2048;
constexpr int wave16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

/// Plays a file fast and notes how many buffers had come when the file was finished.
struct Playing {
    explicit Playing(const QString& path, double speed = 200)
        : capture({path, speed, [this] { finished.push_back(sound.buffers().size()); }, meter})
        , started(capture.start(chunk, [this](Buffer buffer) { sound.take(std::move(buffer)); })) {}

    Collector sound;
    std::vector<std::size_t> finished; // to be read after a stop
    const std::shared_ptr<InputMeter> meter = std::make_shared<InputMeter>();
    FileCapture capture;
    Result<void> started;
};

Wave channelsApart(double rate) {
    return [rate](std::size_t frame, int channel) { return toneOf(300.0 * (channel + 1), rate)(frame, channel); };
}

struct FileCaptureTest : ::testing::Test {
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

TEST_F(FileCaptureTest, PlaysEveryFormatAndChannelCountToItsLastFrame) {
    struct Case {
        const char* name;
        int format, rate, channels;
        double error;
        std::size_t frames = 10 * chunk + 77;
    };
    for (const Case& c : {Case{"full.wav", wave16, 48000, 1, -90, 11 * chunk},
                          Case{"c.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 96000, 6, -120},
                          Case{"d.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 2, -90},
                          Case{"e.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 22050, 1, -30}}) {
        SCOPED_TRACE(c.name);
        const QString path = tone(c.name, c.format, c.rate, c.channels, c.frames);
        EXPECT_TRUE(FileCapture::check(path));
        Playing playing(path);
        EXPECT_EQ(playing.capture.format(), floatFormat(c.rate, c.channels));
        ASSERT_TRUE(playing.started);
        ASSERT_TRUE(playing.sound.waitForCount(14));
        playing.capture.stop();
        EXPECT_THAT(playing.finished, ElementsAre(11U));
        EXPECT_NEAR(playing.meter->take(), 0.5, 0.05);
        const std::vector<Buffer> buffers = playing.sound.buffers();
        for (const Buffer& buffer : buffers)
            ASSERT_EQ(buffer->frameLength(), chunk);
        EXPECT_LT(errorOf(buffers, c.frames, channelsApart(c.rate)), c.error);
        for (std::size_t i = 0; i < chunk; ++i)
            ASSERT_EQ(buffers.at(12)->floatChannelData(0)[i], 0.F) << "the time after the end is silent";
    }
}

TEST_F(FileCaptureTest, PlaysWhatIsLeftOfACutFile) {
    constexpr std::size_t frames = 60'000;
    QFile whole(tone("whole", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 1, frames));
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    Playing playing(write("cut", whole.read(whole.size() * 9 / 10)));
    ASSERT_TRUE(playing.started);
    ASSERT_TRUE(playing.sound.waitForCount(frames / chunk + 2));
    playing.capture.stop();
    EXPECT_LT(errorOf(playing.sound.buffers(), frames / 4, channelsApart(44100)), -30);
    ASSERT_EQ(playing.finished.size(), 1U);
    EXPECT_LT(playing.finished.front(), frames / chunk);
}

TEST_F(FileCaptureTest, KeepsAPaceStopsAndStartsAnew) {
    const QString path = tone("again.wav", wave16, 48000, 1, 96000);
    Playing slow(path, 1), fast(path, 8);
    ASSERT_TRUE(fast.sound.waitForCount(24));
    EXPECT_LT(slow.sound.buffers().size(), 12U) << "as fast as the other, or not paced at all";
    EXPECT_FALSE(fast.capture.start(chunk, [](const Buffer&) {})) << "it runs already";
    fast.capture.stop();
    Collector again;
    std::atomic<bool> stopped = false;
    ASSERT_TRUE(fast.capture.start(chunk, [&](Buffer buffer) {
        EXPECT_FALSE(stopped);
        again.take(std::move(buffer));
    }));
    ASSERT_TRUE(again.waitForCount(2));
    fast.capture.stop();
    stopped = true;
    EXPECT_LT(errorOf(again.buffers(), chunk, channelsApart(48000)), -90) << "a start plays from the beginning";
}

TEST_F(FileCaptureTest, NamesTheProblemOfAFileThatIsNoSound) {
    QFile whole(tone("whole.wav", wave16, 48000, 1, 4800));
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    const QByteArray header = whole.read(44);
    QByteArray oddRate = header + QByteArray(4000, '\1');
    oddRate.replace(24, 4, QByteArray::fromHex("00ca9a3b")); // a billion Hz
    const std::vector<std::pair<QString, QString>> cases = {
        {pathOf("missing.wav"), "There is no file"},
        {"/dev/zero", "This is not a file"},
        {write("cut.wav", header.left(20)), "no sound that can be played"},
        {write("silent.wav", header), "There is no sound in"},
        {write("rate.wav", oddRate), "sample rate of this sound cannot be used"},
    };
    for (const auto& [path, words] : cases) {
        const Result<void> check = FileCapture::check(path);
        ASSERT_FALSE(check) << path.toStdString();
        EXPECT_TRUE(check.error().contains(words) && check.error().contains(path)) << check.error().toStdString();
        EXPECT_FALSE(Playing(path).started);
    }
}

struct EngineTest : ::testing::Test {
    EngineTest() {
        input->pace = [](std::chrono::milliseconds) { std::this_thread::yield(); };
    }

    const std::shared_ptr<FakeInput> input = std::make_shared<FakeInput>();
    const AVAudioFormat format = *input->format;
    Collector sound;
    AVAudioEngine engine{[this] { return std::make_unique<FakeCapture>(input); }};
    AVAudioInputNode& node = engine.inputNode();
};

TEST_F(EngineTest, DeliversToTheTapAndLooksTheInputUpAnewForEachStart) {
    EXPECT_EQ(node.outputFormat(0), format);
    EXPECT_EQ(node.outputFormat(1), std::nullopt);
    node.installTap(1, 512, format, [](const Buffer&) { ADD_FAILURE() << "there is no bus 1"; });
    node.installTap(0, 1234, format, [this](Buffer buffer) { sound.take(std::move(buffer)); });
    ASSERT_TRUE(engine.start());
    EXPECT_TRUE(engine.isRunning());
    EXPECT_TRUE(engine.start());
    EXPECT_TRUE(sound.waitForCount(5));
    EXPECT_EQ(input->framesPerBuffer, 1234U);
    EXPECT_EQ(input->made, 1) << "the input that was looked up is the one that is captured";
    engine.stop();
    EXPECT_FALSE(engine.isRunning());
    EXPECT_EQ(input->alive, 0);
    const std::size_t before = sound.buffers().size();
    input->format = floatFormat(44100, 2);
    EXPECT_EQ(node.outputFormat(0), floatFormat(44100, 2));
    ASSERT_TRUE(engine.start());
    EXPECT_TRUE(sound.waitForCount(before + 3)) << "the tap outlives a stop";
    EXPECT_EQ(input->made, 2);
    engine.stop();
    input->startError = QStringLiteral("it is busy");
    EXPECT_EQ(engine.start().error(), QStringLiteral("it is busy"));
    EXPECT_TRUE(!engine.isRunning() && input->alive == 0);
    EXPECT_FALSE(AVAudioEngine({}).start());
}

/// The block is still busy when its removal begins: the removal has to wait for it.
TEST_F(EngineTest, CallsNoTapAfterItsRemoval) {
    ASSERT_TRUE(engine.start());
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> inside = false, removing = false, removed = false;
        node.installTap(0, 2048, format, [&](const Buffer&) {
            inside = true;
            inside.notify_all();
            removing.wait(false);
            for (int turn = 0; turn < 200; ++turn)
                std::this_thread::yield();
            EXPECT_FALSE(removed);
        });
        inside.wait(false);
        removing = true;
        removing.notify_all();
        node.removeTap(0);
        removed = true;
    }
    std::atomic<int> calls = 0;
    node.installTap(0, 2048, format, [&](const Buffer&) {
        node.removeTap(0); // its own
        ++calls;
        calls.notify_all();
    });
    calls.wait(0);
    engine.stop();
    EXPECT_EQ(calls, 1);
}

} // namespace
} // namespace parlowen::testing
