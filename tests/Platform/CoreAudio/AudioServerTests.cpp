#include "ObjectReading.h"
#include "support/Testing.h"
#include <CoreAudio/PulseAudioServer.h>
#include <PulseAudio/PulseClient.h>
#include <support/CallSound.h>
#include <support/PrivateAudioServer.h>

using namespace parlowen;
using namespace parlowen::testing;

namespace {

const QStringList speakersHeadsetAndMicrophone{
    "module-null-sink sink_name=headset rate=44100 channels=2 sink_properties='device.description=\"Test Headset\"'",
    "module-null-sink sink_name=speakers rate=48000 channels=2 sink_properties='device.description=\"Test Speakers\"'",
    "module-remap-source master=headset.monitor source_name=mic "
    "source_properties='device.description=\"Test Microphone\"'"};

struct AudioServers : EitherAudioServer {
    AudioObjectID device(const std::string& uid) {
        for (const AudioObjectID id : ids(*server, kAudioObjectSystemObject, {fourCC("dev#")}))
            if (text(*server, id, fourCC("uid ")) == uid)
                return id;
        return 0;
    }

    std::unique_ptr<PulseAudioServer> server;
};

ON_EITHER_AUDIO_SERVER(AudioServers);

TEST_P(AudioServers, SinksAndSourcesAreDevicesOthersChangesAreToldAndWhatIsSetStaysInTheProgram) {
    ASSERT_NO_FATAL_FAILURE(startServer(speakersHeadsetAndMicrophone));
    control({"set-default-sink", "speakers"});
    control({"set-default-source", "mic"});
    server = std::make_unique<PulseAudioServer>(std::make_shared<PulseClient>(daemon->address().toStdString()));
    constexpr auto input = fourCC("dIn "), output = fourCC("dOut");
    const auto becomes = [&](FourCharCode selector, const char* uid) {
        return waitFor([&] { return defaultDevice(*server, selector) == uid; });
    };
    ASSERT_TRUE(becomes(output, "speakers") && becomes(input, "mic"));
    const AudioObjectID headset = device("headset"), mic = device("mic"), loopback = device(loopbackDevice::uid);
    EXPECT_EQ(text(*server, headset, fourCC("lnam")), "Test Headset");
    EXPECT_EQ(text(*server, mic, fourCC("lnam")), "Test Microphone");
    EXPECT_EQ(value<double>(*server, headset, {fourCC("nsrt")}), 44100);
    EXPECT_EQ(ids(*server, headset, {fourCC("stm#"), kAudioObjectPropertyScopeInput}).size(), 1U);
    EXPECT_EQ(ids(*server, mic, {fourCC("stm#"), kAudioObjectPropertyScopeOutput}).size(), 0U);
    EXPECT_EQ(device("headset.monitor"), 0U);

    EXPECT_EQ(setDefault(*server, input, loopback), 0);
    expectDefaults("mic", "speakers");

    Ear ofSystem(*server, kAudioObjectSystemObject), ofDevice(*server, headset);
    control({"set-default-sink", "headset"});
    EXPECT_TRUE(waitFor([&] { return ofSystem.count("dOut") == 1 && ofSystem.count("sOut") == 1; }));
    EXPECT_EQ(defaultDevice(*server, output), "headset");
    // The tone first: PipeWire 1.4 takes no volume of a null sink that has never played.
    const PlayedTone tone(daemon->address(), "headset");
    EXPECT_TRUE(waitFor([&] { return ofDevice.count("gone") > 0; }));
    control({"set-sink-mute", "headset", "1"});
    control({"set-sink-volume", "headset", "50%"});
    EXPECT_TRUE(waitFor([&] { return ofDevice.count("mute") == 1 && ofDevice.count("volm") == 1; }));
    EXPECT_FLOAT_EQ(value<float>(*server, headset, {fourCC("volm"), kAudioObjectPropertyScopeOutput}), 0.5F);
    EXPECT_EQ(value<std::uint32_t>(*server, headset, {fourCC("mute"), kAudioObjectPropertyScopeInput}), 0U);

    daemon->kill();
    std::vector<std::byte> devices;
    ASSERT_TRUE(waitFor([&] {
        return server->getPropertyData(kAudioObjectSystemObject, {fourCC("dev#")}, {}, devices) ==
               kAudioHardwareNotRunningError;
    }));
    ASSERT_TRUE(daemon->restart());
    EXPECT_TRUE(waitFor([&] { return device("headset") == headset && device(loopbackDevice::uid) == loopback; }));
    EXPECT_EQ(defaultDevice(*server, input), loopbackDevice::uid) << "the session hears what it heard";
}

} // namespace
