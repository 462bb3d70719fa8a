#include "ObjectReading.h"

#include <CoreAudio/PulseAudioServer.h>
#include <PulseAudio/PulseClient.h>
#include <gmock/gmock.h>
#include <support/EitherAudioServer.h>
#include <support/ServerSound.h>

using namespace parlowen;
using namespace parlowen::testing;

namespace {

constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

const QStringList speakersHeadsetAndMicrophone{
    "module-null-sink sink_name=headset rate=44100 channels=2 sink_properties='device.description=\"Test Headset\"'",
    "module-null-sink sink_name=speakers rate=48000 channels=2 sink_properties='device.description=\"Test Speakers\"'",
    "module-remap-source master=headset.monitor source_name=mic "
    "source_properties='device.description=\"Test Microphone\"'"};

class AudioServers : public EitherAudioServer {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(startServer(speakersHeadsetAndMicrophone));
        client = std::make_shared<PulseClient>(daemon->address().toStdString());
        server = std::make_unique<PulseAudioServer>(client);
        ASSERT_TRUE(waitFor([this] { return device("headset") && device("speakers") && device("mic"); }));
        control({"set-default-sink", "speakers"});
        control({"set-default-source", "mic"});
        ASSERT_TRUE(waitFor(
            [this] { return defaultDevice(fourCC("dOut")) == "speakers" && defaultDevice(fourCC("dIn ")) == "mic"; }));
    }

    /// 0 when no device has that UID.
    AudioObjectID device(const std::string& uid) {
        for (const AudioObjectID id : ids(*server, systemObject, {fourCC("dev#")})) {
            if (text(*server, id, fourCC("uid ")) == uid)
                return id;
        }
        return 0;
    }

    std::string defaultDevice(FourCharCode selector) {
        return text(*server, value<AudioObjectID>(*server, systemObject, {selector}), fourCC("uid "));
    }

    std::shared_ptr<PulseClient> client;
    std::unique_ptr<PulseAudioServer> server;
};

ON_EITHER_AUDIO_SERVER(AudioServers);

TEST_P(AudioServers, SinksAndSourcesAreDevicesAndWhatIsSetStaysInTheProgram) {
    const AudioObjectID headset = device("headset"), mic = device("mic");
    EXPECT_EQ(text(*server, headset, fourCC("lnam")), "Test Headset");
    EXPECT_EQ(text(*server, mic, fourCC("lnam")), "Test Microphone");
    EXPECT_EQ(value<double>(*server, headset, {fourCC("nsrt")}), 44100);
    EXPECT_EQ(ids(*server, headset, {fourCC("stm#"), kAudioObjectPropertyScopeInput}).size(), 1U);
    EXPECT_EQ(ids(*server, mic, {fourCC("stm#"), kAudioObjectPropertyScopeOutput}).size(), 0U);
    EXPECT_EQ(device("headset.monitor"), 0U);
    EXPECT_EQ(text(*server, device(loopbackDevice::uid), fourCC("lnam")), "vorlanOutput 2ch");

    AudioObjectID both = 0;
    ASSERT_EQ(server->createAggregateDevice(multiOutput("both", "Both", {loopbackDevice::uid, "speakers"}), both), 0);
    for (const auto& [selector, uid] :
         std::vector<std::pair<FourCharCode, std::string>>{{fourCC("dIn "), loopbackDevice::uid},
                                                           {fourCC("dOut"), "both"},
                                                           {fourCC("dIn "), "speakers"},
                                                           {fourCC("dIn "), "mic"}}) {
        EXPECT_EQ(setDefault(*server, selector, device(uid)), 0);
        EXPECT_EQ(defaultDevice(selector), uid);
    }
    expectDefaults("mic", "speakers");
    EXPECT_FALSE(control({"list", "short", "sinks"}).contains("both"));
}

TEST_P(AudioServers, WhatOtherProgramsChangeIsTold) {
    Ear ofSystem(*server, systemObject), ofDevice(*server, device("headset"));
    control({"set-default-sink", "headset"});
    EXPECT_TRUE(waitFor([&] { return ofSystem.count("dOut") == 1 && ofSystem.count("sOut") == 1; }));
    EXPECT_EQ(defaultDevice(fourCC("dOut")), "headset");
    control({"set-sink-mute", "headset", "1"});
    control({"set-sink-volume", "headset", "50%"});
    EXPECT_TRUE(waitFor([&] { return ofDevice.count("mute") == 1 && ofDevice.count("volm") == 1; }));
    EXPECT_FLOAT_EQ(value<float>(*server, device("headset"), {fourCC("volm"), kAudioObjectPropertyScopeOutput}), 0.5F);
    EXPECT_EQ(value<std::uint32_t>(*server, device("headset"), {fourCC("mute"), kAudioObjectPropertyScopeInput}), 0U);
    const PlayedTone tone(daemon->address(), "headset");
    EXPECT_TRUE(waitFor([&] { return ofDevice.count("gone") > 0; }));
    ofSystem.heard();
    const QString module = control({"load-module", "module-null-sink", "sink_name=plugged"});
    EXPECT_TRUE(waitFor([&] { return ofSystem.count("ownd") > 0 && ofSystem.count("dev#") > 0 && device("plugged"); }));
    control({"unload-module", module});
    EXPECT_TRUE(waitFor([&] { return device("plugged") == 0; }));
}

TEST_P(AudioServers, AServerThatRestartsHasNoDevicesMeanwhileAndGivesThemTheirIdsThen) {
    const AudioObjectID headset = device("headset"), loopback = device(loopbackDevice::uid);
    ASSERT_EQ(setDefault(*server, fourCC("dIn "), loopback), 0);
    daemon->kill();
    std::vector<std::byte> devices;
    ASSERT_TRUE(waitFor([&] {
        return server->getPropertyData(systemObject, {fourCC("dev#")}, {}, devices) == kAudioHardwareNotRunningError;
    }));
    EXPECT_EQ(setDefault(*server, fourCC("dOut"), headset), kAudioHardwareNotRunningError);
    AudioObjectID both = 0;
    EXPECT_EQ(server->createAggregateDevice(multiOutput("both", "Both", {"headset"}), both),
              kAudioHardwareNotRunningError);
    ASSERT_TRUE(daemon->restart());
    EXPECT_TRUE(waitFor([&] { return device("headset") == headset && device(loopbackDevice::uid) == loopback; }));
    EXPECT_EQ(defaultDevice(fourCC("dIn ")), loopbackDevice::uid) << "the session hears what it heard";
}

} // namespace
