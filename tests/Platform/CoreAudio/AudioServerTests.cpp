#include "ObjectReading.h"

#include <CoreAudio/PulseAudioServer.h>
#include <atomic>
#include <cmath>
#include <gmock/gmock.h>
#include <map>
#include <set>
#include <support/EitherAudioServer.h>
#include <support/ServerSound.h>
#include <thread>

using namespace parlowen;
using namespace parlowen::testing;
using ::testing::ElementsAre;

namespace {

constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

const QStringList loopSpeakersAndMicrophone{
    "module-null-sink sink_name=loop rate=48000 channels=2 sink_properties='device.description=\"vorlanOutput 2ch\"'",
    "module-null-sink sink_name=speakers rate=48000 channels=2 sink_properties='device.description=\"Test Speakers\"'",
    "module-remap-source master=loop.monitor source_name=mic "
    "source_properties='device.description=\"Test Microphone\"'"};

class AudioServers : public EitherAudioServer {
protected:
    void SetUp() override {
        ASSERT_TRUE(isStarted);
        ASSERT_TRUE(waitFor([this] { return device("loop") && device("speakers") && device("mic"); }));
    }

    /// 0 when no device has that UID.
    AudioObjectID device(const std::string& uid) {
        for (const AudioObjectID id : deviceList(server)) {
            if (text(server, id, fourCC("uid ")) == uid)
                return id;
        }
        return 0;
    }

    AudioObjectID defaultDevice(FourCharCode selector) {
        return value<AudioObjectID>(server, systemObject, {selector});
    }

    QString load(const QString& module) {
        return control({QStringLiteral("load-module"), module.section(u' ', 0, 0), module.section(u' ', 1)});
    }

    std::vector<std::string> subDevices(AudioObjectID aggregate) {
        std::vector<std::string> uids;
        for (const AudioObjectID id : ids(server, aggregate, {fourCC("ownd")}, propertyData(fourCC("asub"))))
            uids.push_back(text(server, id, fourCC("uid ")));
        return uids;
    }

    bool start() {
        startServer(loopSpeakersAndMicrophone);
        return daemon->isReady();
    }

    const bool isStarted = start(); ///< before the connection below
    PulseAudioServer server{daemon->address().toStdString()};
};

ON_EITHER_AUDIO_SERVER(AudioServers);

TEST_P(AudioServers, SinksAndSourcesAreDevicesAndTheDefaultsAreSetOnTheServer) {
    const AudioObjectID loop = device("loop"), mic = device("mic");
    EXPECT_EQ(text(server, loop, fourCC("lnam")), "vorlanOutput 2ch");
    EXPECT_EQ(text(server, device("speakers"), fourCC("lnam")), "Test Speakers");
    EXPECT_EQ(text(server, mic, fourCC("lnam")), "Test Microphone");
    EXPECT_EQ(value<FourCharCode>(server, loop, {fourCC("clas")}), fourCC("adev"));
    EXPECT_EQ(value<double>(server, loop, {fourCC("nsrt")}), 48000);
    EXPECT_EQ(ids(server, loop, {fourCC("stm#"), kAudioObjectPropertyScopeInput}).size(), 1U);
    EXPECT_EQ(ids(server, loop, {fourCC("stm#"), kAudioObjectPropertyScopeOutput}).size(), 1U);
    EXPECT_EQ(ids(server, mic, {fourCC("stm#"), kAudioObjectPropertyScopeOutput}).size(), 0U);
    EXPECT_EQ(device("loop.monitor"), 0U);

    for (const std::string output : {"loop", "speakers"}) {
        ASSERT_EQ(setDefault(server, fourCC("dOut"), device(output)), 0);
        EXPECT_EQ(defaultDevice(fourCC("dOut")), device(output));
        EXPECT_EQ(defaultDevice(fourCC("sOut")), device(output));
        EXPECT_EQ(control({"get-default-sink"}).toStdString(), output);
    }
    for (const std::string input : {"mic", "speakers", "loop"}) {
        ASSERT_EQ(setDefault(server, fourCC("dIn "), device(input)), 0);
        EXPECT_EQ(defaultDevice(fourCC("dIn ")), device(input));
        EXPECT_EQ(control({"get-default-source"}).toStdString(), input == "mic" ? "mic" : input + ".monitor");
    }
}

TEST_P(AudioServers, APluggedDeviceIsToldTwiceToAListenerThatMayCallBack) {
    std::atomic<OSStatus> status = 1;
    ListenerToken ofList = 0;
    const AudioObjectID loop = device("loop");
    const auto callBack = [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
        return status = setDefault(server, fourCC("dIn "), loop);
    };
    Ear ear(server, systemObject);
    ASSERT_EQ(server.addPropertyListener(systemObject, {fourCC("dev#")}, callBack, ofList), 0);
    const auto told = [&ear] { return ear.count("ownd") > 0 && ear.count("dev#") > 0; };
    const QString module = load("module-null-sink sink_name=plugged");
    ASSERT_TRUE(waitFor([&] { return told() && device("plugged") && status != 1; }));
    EXPECT_EQ(status, 0);
    const AudioObjectID plugged = device("plugged");
    ear.heard();
    control({"unload-module", module});
    EXPECT_TRUE(waitFor([&] { return told() && device("plugged") == 0; }));
    load("module-null-sink sink_name=plugged");
    EXPECT_TRUE(waitFor([&] { return device("plugged") == plugged; }));
    server.removePropertyListener(ofList);
}

TEST_P(AudioServers, WhatOtherProgramsChangeIsTold) {
    ASSERT_EQ(setDefault(server, fourCC("dOut"), device("speakers")), 0);
    Ear ofSystem(server, systemObject), ofDevice(server, device("loop"));
    control({"set-default-sink", "loop"});
    EXPECT_TRUE(waitFor([&] { return ofSystem.count("dOut") == 1 && ofSystem.count("sOut") == 1; }));
    EXPECT_EQ(defaultDevice(fourCC("dOut")), device("loop"));
    control({"set-sink-mute", "loop", "1"});
    control({"set-sink-volume", "loop", "50%"});
    EXPECT_TRUE(waitFor([&] { return ofDevice.count("mute") == 1 && ofDevice.count("volm") == 1; }));
    EXPECT_FLOAT_EQ(value<float>(server, device("loop"), {fourCC("volm"), kAudioObjectPropertyScopeOutput}), 0.5F);
    EXPECT_EQ(value<std::uint32_t>(server, device("loop"), {fourCC("mute"), kAudioObjectPropertyScopeOutput}), 1U);
    EXPECT_EQ(value<std::uint32_t>(server, device("loop"), {fourCC("mute"), kAudioObjectPropertyScopeInput}), 0U);
    const PlayedTone tone(daemon->address(), "loop");
    EXPECT_TRUE(waitFor([&] { return ofDevice.count("gone") > 0; }));
}

TEST_P(AudioServers, AMultiOutputDeviceOfAnyNamePlaysIntoBoth) {
    const QVariantMap description = multiOutput("both_UID", "It's \"both\" \\ 扬声器 a=b", {"loop", "speakers"});
    AudioObjectID combined = 0;
    ASSERT_EQ(server.createAggregateDevice(description, combined), 0);
    EXPECT_EQ(device("both_UID"), combined);
    EXPECT_EQ(text(server, combined, fourCC("lnam")), "It’s ”both” ＼ 扬声器 a=b");
    EXPECT_EQ(value<FourCharCode>(server, combined, {fourCC("clas")}), fourCC("aagg"));
    EXPECT_THAT(subDevices(combined), ElementsAre("loop", "speakers"));
    ASSERT_EQ(setDefault(server, fourCC("dOut"), combined), 0);
    {
        const PlayedTone tone(daemon->address(), "both_UID");
        const double loop = recordedLevel(daemon->address(), "loop.monitor");
        const double speakers = recordedLevel(daemon->address(), "speakers.monitor");
        EXPECT_GT(loop, 0.1);
        EXPECT_LT(std::abs(20 * std::log10(loop / speakers)), 1.0);
    }
    EXPECT_EQ(server.destroyAggregateDevice(combined), 0);
    EXPECT_EQ(device("both_UID"), 0U);
    EXPECT_EQ(server.destroyAggregateDevice(combined), kAudioHardwareBadObjectError);
    EXPECT_EQ(server.destroyAggregateDevice(device("loop")), kAudioHardwareBadDeviceError);
    EXPECT_EQ(server.destroyAggregateDevice(systemObject), kAudioHardwareBadDeviceError);

    load("module-combine-sink sink_name=left slaves=speakers,loop"); // as a crash leaves it behind
    ASSERT_TRUE(waitFor([this] { return device("left") != 0; }));
    EXPECT_THAT(subDevices(device("left")), ElementsAre("speakers", "loop"));
    EXPECT_EQ(server.destroyAggregateDevice(device("left")), 0);
    EXPECT_FALSE(control({"list", "short", "modules"}).contains("module-combine-sink"));
}

TEST_P(AudioServers, WhatAConnectionMissedIsFoundAndTheDevicesNeverGo) {
    const auto changed = makeServer(loopSpeakersAndMicrophone);
    ASSERT_TRUE(changed->isReady());
    MovingAddress address;
    ASSERT_TRUE(address.leadTo(*changed));
    PulseAudioServer moving(address.address().toStdString());
    const auto defaultOf = [&](FourCharCode selector) {
        return text(moving, value<AudioObjectID>(moving, systemObject, {selector}), fourCC("uid "));
    };
    for (const std::string other : {"loop", "speakers"}) {
        control({"set-default-sink", QString::fromStdString(other)});
        ASSERT_TRUE(waitFor([&] { return defaultOf(fourCC("dOut")) == other; }));
    }
    ASSERT_EQ(setDefault(server, fourCC("dOut"), device("loop")), 0);
    ASSERT_EQ(setDefault(server, fourCC("dIn "), device("mic")), 0);
    Ear ear(moving, systemObject);
    ASSERT_TRUE(address.leadTo(*daemon));
    EXPECT_TRUE(waitFor([&] { return defaultOf(fourCC("dOut")) == "loop" && defaultOf(fourCC("dIn ")) == "mic"; }));
    EXPECT_TRUE(waitFor([&] { return ear.count("dOut") == 1; }));
    EXPECT_EQ(ear.count("dev#"), 0);
    ASSERT_EQ(setDefault(server, fourCC("dOut"), device("speakers")), 0);
    EXPECT_TRUE(waitFor([&] { return defaultOf(fourCC("dOut")) == "speakers"; }, 300)) << "it is told again";
    const std::size_t requests = moving.traffic().requests;
    EXPECT_TRUE(holdsFor([&] { return moving.traffic().requests == requests; }, 2000)) << "and left alone";
}

TEST_P(AudioServers, AServerThatRestartsGivesItsDevicesTheirIdsAndWritesGoOn) {
    const auto uids = {"loop", "speakers", "mic"};
    std::map<std::string, AudioObjectID> before;
    for (const char* uid : uids)
        before[uid] = device(uid);
    Ear ear(server, systemObject);
    daemon->kill();
    ASSERT_TRUE(waitFor([this] { return deviceList(server).empty(); }));
    EXPECT_EQ(defaultDevice(fourCC("dOut")), 0U);

    const std::set<OSStatus> expected{0, kAudioHardwareNotRunningError, kAudioHardwareBadDeviceError,
                                      kAudioHardwareUnspecifiedError};
    std::atomic<bool> end = false;
    std::atomic<int> writes = 0, surprises = 0;
    std::thread writer([&, this] {
        for (; !end; ++writes) {
            const OSStatus status = setDefault(server, fourCC("dOut"), before[writes % 2 == 0 ? "loop" : "speakers"]);
            surprises += expected.contains(status) ? 0 : 1;
        }
    });
    for (int restart = 0; restart < 3; ++restart) {
        EXPECT_TRUE(daemon->restart());
        EXPECT_TRUE(waitFor([&, seen = writes.load()] { return writes > seen + 3; }));
    }
    end = true;
    writer.join();
    EXPECT_EQ(surprises, 0);
    ASSERT_TRUE(waitFor([&, this] { return device("loop") && device("speakers") && device("mic"); }));
    for (const char* uid : uids)
        EXPECT_EQ(device(uid), before[uid]) << uid;
    ear.heard();
    for (const char* uid : {"loop", "speakers"}) {
        EXPECT_EQ(setDefault(server, fourCC("dOut"), before[uid]), 0);
        EXPECT_EQ(defaultDevice(fourCC("dOut")), before[uid]);
    }
    EXPECT_TRUE(waitFor([&] { return ear.count("dOut") > 0; }));
}

} // namespace
