#include <AVFoundation/CaptureSource.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>
#include <support/EitherAudioServer.h>
#include <support/ServerSound.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <optional>

namespace parlowen::testing {
namespace {

using ::testing::Contains;

/// The call's sink, another one of another shape, and a source that is no monitor though it gives the call's sound.
const QStringList devices{
    "module-null-sink sink_name=call rate=48000 channels=2 norewinds=1 sink_properties=device.description=Call",
    "module-null-sink sink_name=other rate=44100 channels=1 norewinds=1 sink_properties=device.description=Other",
    "module-remap-source master=call.monitor source_name=mic "
    "source_properties=device.description=Mic"};

/// Seconds of the longest gap that the log tells of; none when it tells of none.
std::optional<double> longestGap(const CapturedLog& log) {
    std::optional<double> longest;
    for (const QString& line : log.linesWith("[capture] 声音中断 "))
        longest = std::max(longest.value_or(0), line.section(u' ', 2, 2).toDouble());
    return longest;
}

/// Listens to what a capture delivers.
class Listener {
public:
    CaptureSource::Sink sink() {
        return [this](const std::shared_ptr<AVAudioPCMBuffer>& buffer) { take(*buffer); };
    }

    /// Whether sound comes within the bound; what came before does not count.
    bool hearsSound(int milliseconds = 10'000) {
        loud_ = false;
        return waitFor([this] { return loud_.load(); }, milliseconds);
    }

    bool hearsSilence() {
        quiet_ = false;
        return waitFor([this] { return quiet_.load(); });
    }

    /// Seconds of sound more than seconds passed, from the first buffer on.
    double surplus() const {
        const std::lock_guard lock(mutex_);
        const std::chrono::duration<double> passed = last_ - first_;
        return static_cast<double>(framesAfterFirst_) / rate_ - passed.count();
    }

private:
    void take(const AVAudioPCMBuffer& buffer) {
        const auto now = std::chrono::steady_clock::now();
        const float* samples = buffer.floatChannelData(0);
        const bool loud =
            std::any_of(samples, samples + buffer.frameLength(), [](float sample) { return std::abs(sample) > 0.1F; });
        (loud ? loud_ : quiet_) = true;
        const std::lock_guard lock(mutex_);
        rate_ = buffer.format().sampleRate();
        framesAfterFirst_ += first_ == Clock::time_point() ? 0 : buffer.frameLength();
        first_ = first_ == Clock::time_point() ? now : first_;
        last_ = now;
    }

    using Clock = std::chrono::steady_clock;
    std::atomic<bool> loud_ = false, quiet_ = false;
    mutable std::mutex mutex_;
    Clock::time_point first_, last_;
    std::size_t framesAfterFirst_ = 0;
    double rate_ = 1;
};

class CaptureHoldsTest : public EitherAudioServer {
protected:
    void SetUp() override { startServer(devices); }

    void capture(const QString& input) {
        makeDefault(input);
        source = defaultInputCapture()();
        format = source->format();
        ASSERT_EQ(source->start(1024, listener.sink()), std::nullopt);
        ASSERT_TRUE(listener.hearsSilence());
    }

    static void makeDefault(const QString& input) {
        control({"set-default-source", input});
        ASSERT_TRUE(waitFor([&] { return control({"get-default-source"}) == input; }));
    }

    static void unplug(const QString& sink) {
        const QStringList modules = control({"list", "short", "modules"}).split(u'\n');
        for (const QString& module : modules) {
            if (module.contains("sink_name=" + sink))
                control({"unload-module", module.section(u'\t', 0, 0)});
        }
    }

    std::string said() const { return log.lines().join(u'\n').toStdString(); }

    PlayedTone tone(const QString& sink) const { return PlayedTone(daemon->address(), sink); }

    CapturedLog log;
    Listener listener;
    std::unique_ptr<CaptureSource> source; ///< stops before what it needs goes
    std::optional<AVAudioFormat> format;
};

ON_EITHER_AUDIO_SERVER(CaptureHoldsTest);

TEST_P(CaptureHoldsTest, GoesToTheNewDefaultAndSaysWhenItIsOfAnotherKindOrUnplugged) {
    capture("call.monitor");
    EXPECT_EQ(log.lines().last(), "[capture] 正在监听：Monitor of Call（系统声音）");
    {
        const PlayedTone sound = tone("other");
        makeDefault("other.monitor");
        EXPECT_TRUE(listener.hearsSound());
        EXPECT_EQ(source->format(), format);
        EXPECT_EQ(log.linesWith("[capture] 正在监听：").last(), "[capture] 正在监听：Monitor of Other（系统声音）");
        EXPECT_EQ(log.linesWith("[capture] ⚠️"), QStringList());
    }
    const PlayedTone sound = tone("call");
    EXPECT_TRUE(listener.hearsSilence());
    unplug("other");
    EXPECT_TRUE(listener.hearsSound()) << said();
    const qsizetype told = log.linesWith("[capture] ❌ 输入设备已断开：Monitor of Other").size();
    EXPECT_TRUE(told == 1 || (isPipeWire() && told == 0)) << "PipeWire may tell of the next default first";
    ASSERT_TRUE(longestGap(log).has_value());
    makeDefault("call.monitor");
    makeDefault("mic");
    EXPECT_TRUE(waitFor([&] { return log.lines().contains("[capture] 正在监听：Mic（麦克风）"); }));
    EXPECT_THAT(log.lines(), Contains("[capture] ⚠️ 输入类型已改变：系统声音 → 麦克风"));
    EXPECT_TRUE(listener.hearsSound());
    EXPECT_LT(*longestGap(log), 1);
    EXPECT_LT(std::abs(listener.surplus()), 0.5);
}

TEST_P(CaptureHoldsTest, FindsTheDefaultThatItsConnectionMissed) {
    const auto changed =
        makeServer({"module-null-sink sink_name=elsewhere norewinds=1 sink_properties=device.description=Elsewhere"});
    makeDefault("elsewhere.monitor");
    MovingAddress address;
    ASSERT_TRUE(address.leadTo(*daemon));
    qputenv("PULSE_SERVER", address.address().toUtf8());
    capture("call.monitor");
    ASSERT_TRUE(address.leadTo(*changed));
    const PlayedTone sound(changed->address(), "elsewhere");
    EXPECT_TRUE(listener.hearsSound()) << said();
    const QStringList heardOf{"[capture] 正在监听：Monitor of Call（系统声音）",
                              "[capture] 正在监听：Monitor of Elsewhere（系统声音）"};
    EXPECT_EQ(log.linesWith("[capture] 正在监听："), heardOf);
    EXPECT_EQ(source->format(), format);
    EXPECT_TRUE(holdsFor([&] { return log.linesWith("[capture] 正在监听：") == heardOf; }, 2000)) << said();
    EXPECT_LT(longestGap(log).value_or(0), 1) << said();
    control({"load-module", "module-null-sink", "sink_name=next", "norewinds=1",
             "sink_properties=device.description=Next"});
    makeDefault("next.monitor");
    EXPECT_TRUE(waitFor([&] { return log.linesWith("[capture] 正在监听：Monitor of Next").size() == 1; })) << said();
    EXPECT_EQ(log.linesWith("❌"), QStringList());
}

TEST_P(CaptureHoldsTest, StartsOnTheNextDefaultWhenItsDeviceWentBeforeTheStart) {
    makeDefault("other.monitor");
    source = defaultInputCapture()();
    format = source->format();
    unplug("other");
    const PlayedTone sound = tone("call");
    ASSERT_EQ(source->start(1024, listener.sink()), std::nullopt);
    EXPECT_TRUE(listener.hearsSound()) << said();
    EXPECT_EQ(source->format(), format) << "as it was told";
}

TEST_P(CaptureHoldsTest, GoesOnEachTimeTheServerRestartsAndStopsWhileItIsAway) {
    capture("call.monitor");
    for (int round = 1; round <= 3; ++round) {
        ASSERT_TRUE(daemon->restart()) << daemon->output().toStdString();
        {
            const PlayedTone call = tone("call"), other = tone("other");
            EXPECT_TRUE(listener.hearsSound()) << said();
        }
        EXPECT_EQ(log.linesWith("❌ 录音中断，音频服务已断开").size(), round);
        EXPECT_GE(log.linesWith("[capture] 声音中断 ").size(), round);
        EXPECT_TRUE(listener.hearsSilence());
    }
    EXPECT_LT(std::abs(listener.surplus()), 0.5) << said();

    daemon->kill();
    ASSERT_TRUE(waitFor([&] { return log.linesWith("❌ 录音中断，音频服务已断开").size() == 4; }));
    EXPECT_TRUE(listener.hearsSilence()) << "the sink still hears the clock pass";
    source->stop();
    EXPECT_NE(source->start(1024, listener.sink()), std::nullopt);
    ASSERT_TRUE(daemon->restart());
    Listener own;
    ASSERT_EQ(source->start(1024, own.sink()), std::nullopt);
    ASSERT_TRUE(daemon->restart());
    source->stop();
}

TEST(CaptureHoldsWithoutAnyInput, WaitsForOneToBePluggedIn) {
    PrivatePulseAudio server;
    ASSERT_TRUE(server.isReady()) << server.output().toStdString();
    const CapturedLog log;
    Listener listener;
    const std::unique_ptr<CaptureSource> source = defaultInputCapture()();
    ASSERT_EQ(source->start(1024, listener.sink()), std::nullopt);
    ASSERT_TRUE(listener.hearsSilence());
    control({"unload-module", "module-null-sink"});
    const QString nothing = "[capture] ⚠️ 没有可用的输入设备，等待接入";
    EXPECT_TRUE(waitFor([&] { return log.lines().contains(nothing); })) << log.lines().join(u'\n').toStdString();
    EXPECT_TRUE(holdsFor([&] { return log.linesWith(nothing).size() == 1; }, 500));
    control({"load-module", "module-null-sink", "sink_name=new", "rate=16000"});
    const PlayedTone sound(server.address(), "new");
    EXPECT_TRUE(listener.hearsSound());
}

} // namespace
} // namespace parlowen::testing
