#include <CoreAudio/PulseAudioServer.h>
#include <Tools/AudioCheck.h>
#include <Tools/ListenCheck.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>
#include <support/EitherAudioServer.h>

#include <QDir>
#include <cmath>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::ElementsAre;

const QStringList speakersAndSources{"module-null-sink sink_name=speakers rate=48000 channels=2 "
                                     "sink_properties=\"device.description='Built-in Speakers'\"",
                                     "module-remap-source master=speakers.monitor source_name=line "
                                     "source_properties=\"device.description='Line In'\"",
                                     "module-remap-source master=speakers.monitor source_name=mic "
                                     "source_properties=\"device.description='USB Microphone'\""};

const QString packaged = QStringLiteral(PARLOWEN_SOURCE_DIR "/packaging/audio/");

/// PipeWire's own configuration with the packaged one beside it, for as long as it lives.
class PipeWireConfiguration {
public:
    PipeWireConfiguration() {
        const QDir own("/usr/share/pipewire");
        const QStringList files = own.entryList(QDir::Files);
        for (const QString& name : files)
            QFile::copy(own.filePath(name), directory_.filePath(name));
        const QString part = "pipewire.conf.d/parlowen-loopback.conf";
        QDir(directory_.path()).mkdir("pipewire.conf.d");
        QFile::copy(packaged + QString("pipewire/") + part, directory_.filePath(part));
        qputenv("PIPEWIRE_CONFIG_DIR", directory_.path().toUtf8());
    }
    ~PipeWireConfiguration() { qunsetenv("PIPEWIRE_CONFIG_DIR"); }
    PipeWireConfiguration(const PipeWireConfiguration&) = delete;
    PipeWireConfiguration& operator=(const PipeWireConfiguration&) = delete;

private:
    QTemporaryDir directory_;
};

/// What another program records from a source, its two channels taken together, 16 kHz.
class Recorder {
public:
    explicit Recorder(const QString& source) {
        endWithParent(parec_);
        parec_.start("parec",
                     {"--device", source, "--format=float32le", "--rate=16000", "--channels=2", "--latency-msec=20"});
        EXPECT_TRUE(parec_.waitForReadyRead(10'000));
    }

    std::vector<float> finish() {
        parec_.waitForReadyRead(300);
        parec_.terminate();
        parec_.waitForFinished(5000);
        const QByteArray bytes = parec_.readAllStandardOutput();
        std::vector<float> samples;
        for (qsizetype i = 0; i + 8 <= bytes.size(); i += 8) {
            std::array<float, 2> frame{};
            std::memcpy(frame.data(), bytes.constData() + i, sizeof frame);
            samples.push_back((frame[0] + frame[1]) / 2);
        }
        return samples;
    }

private:
    QProcess parec_;
};

class AudioSessionTest : public EitherAudioServer {
protected:
    void SetUp() override {
        QStringList modules = speakersAndSources;
        std::optional<PipeWireConfiguration> configuration;
        if (isPipeWire())
            configuration.emplace();
        else
            modules.last() += QString("\n.include ") + packaged + "pulseaudio/default.pa.d/parlowen-loopback.pa";
        ASSERT_NO_FATAL_FAILURE(startServer(modules));
        server = std::make_shared<PulseAudioServer>(daemon->address().toStdString());
        simply = std::make_unique<SimplyCoreAudio>(server);
        ASSERT_TRUE(waitFor(
            [this] { return device("speakers") && device("line") && device("mic") && device("vorlanOutput"); }));
        // PipeWire's session manager may still be starting, and choose by itself after that.
        ASSERT_TRUE(waitFor([this] {
            device("speakers")->makeDefaultOutput();
            device("line")->makeDefaultInput();
            return holdsFor(
                [] { return control({"get-default-source"}) == "line" && control({"get-default-sink"}) == "speakers"; },
                200);
        }));
    }

    std::shared_ptr<AudioDevice> device(const QString& uid) const {
        for (const auto& candidate : simply->deviceList()) {
            if (candidate->deviceUID() == uid)
                return candidate;
        }
        return nullptr;
    }

    QTemporaryDir directory;
    CapturedLog log;
    std::shared_ptr<PulseAudioServer> server;
    std::unique_ptr<SimplyCoreAudio> simply;
};

ON_EITHER_AUDIO_SERVER(AudioSessionTest);

TEST_P(AudioSessionTest, ACallIsHeardAndCapturedAtOnceAndTheDevicesComeBack) {
    EXPECT_EQ(device("vorlanOutput")->deviceName(), "vorlanOutput 2ch");
    EXPECT_TRUE(checkAudio(server).isReady()) << checkAudio(server).text().toStdString();
    KXAudioRouter router(server, std::make_shared<RouterJournal>(directory.filePath("audio-devices.json")));
    router.setupSystemAudio();
    expectDefaults("vorlanOutput.monitor", "speakers");
    ASSERT_TRUE(waitFor([this] { return log.lines().last() == "✅ 设置聚合设备为默认输出"; }));
    expectDefaults("vorlanOutput.monitor", "tqv-Multi-Output_UID");
    EXPECT_EQ(log.lines().first(), "✅ 设置 BlackHole 为默认输入");
    EXPECT_EQ(device("tqv-Multi-Output_UID")->deviceName(), "tqv Multi-Output");

    Recorder speakers("speakers.monitor");
    const ChirpResult captured = playAndListenForChirp();
    const Match heard = findSound(makeChirp(), speakers.finish());
    ASSERT_TRUE(captured.arrived) << captured.problem.toStdString();
    ASSERT_GT(heard.likeness, 0.9);
    EXPECT_LT(std::abs(captured.gainDb), 1.0);
    EXPECT_LT(std::abs(captured.gainDb - 20 * std::log10(heard.gain)), 1.0);
    EXPECT_GT(captured.delayMs, 0);
    RecordProperty("gainDb", std::to_string(captured.gainDb));
    RecordProperty("delayMs", std::to_string(captured.delayMs));

    router.restoreDevices();
    expectDefaults("mic", "speakers");
    expectNoMultiOutput();
    EXPECT_THAT(log.lines().mid(3), ElementsAre("✅ 恢复原始输出设备", "✅ 恢复麦克风输入：USB Microphone",
                                                "🗑️ 聚合设备销毁成功"));
}

} // namespace
} // namespace parlowen
