#include "ObjectReading.h"

#include <CoreAudio/PulseAudioServer.h>
#include <atomic>
#include <cmath>
#include <gmock/gmock.h>
#include <map>
#include <mutex>
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
    QStringLiteral("module-null-sink sink_name=loop rate=48000 channels=2 "
                   "sink_properties='device.description=\"vorlanOutput 2ch\"'"),
    QStringLiteral("module-null-sink sink_name=speakers rate=48000 channels=2 "
                   "sink_properties='device.description=\"Test Speakers\"'"),
    QStringLiteral("module-remap-source master=loop.monitor source_name=mic "
                   "source_properties='device.description=\"Test Microphone\"'")};

/// Counts what listeners hear, by selector. It is to be destroyed after the server that it listens to.
class Heard {
public:
    AudioServer::Listener listener() {
        return [this](AudioObjectID, std::span<const AudioObjectPropertyAddress> addresses) {
            const std::lock_guard lock(mutex_);
            for (const auto& address : addresses)
                ++counts_[address.selector];
            return OSStatus(0);
        };
    }

    int count(FourCharCode selector) {
        const std::lock_guard lock(mutex_);
        return counts_[selector];
    }

    void clear() {
        const std::lock_guard lock(mutex_);
        counts_.clear();
    }

private:
    std::mutex mutex_;
    std::map<FourCharCode, int> counts_;
};

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
    Heard heard;
    PulseAudioServer server{daemon->address().toStdString()};
};

ON_EITHER_AUDIO_SERVER(AudioServers);

TEST_P(AudioServers, SinksAndSourcesAreDevices) {
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
    EXPECT_NE(defaultDevice(fourCC("dOut")), 0U);
    EXPECT_EQ(defaultDevice(fourCC("dOut")), defaultDevice(fourCC("sOut")));
}

TEST_P(AudioServers, DefaultsAreSetOnTheServer) {
    for (const std::string output : {"loop", "speakers"}) {
        ASSERT_EQ(setDefault(server, fourCC("dOut"), device(output)), 0);
        EXPECT_EQ(defaultDevice(fourCC("dOut")), device(output));
        EXPECT_EQ(control({"get-default-sink"}).toStdString(), output);
    }
    for (const std::string input : {"mic", "speakers", "loop"}) {
        ASSERT_EQ(setDefault(server, fourCC("dIn "), device(input)), 0);
        EXPECT_EQ(defaultDevice(fourCC("dIn ")), device(input));
        EXPECT_EQ(control({"get-default-source"}).toStdString(), input == "mic" ? "mic" : input + ".monitor");
    }
    EXPECT_EQ(setDefault(server, fourCC("dOut"), device("mic")), kAudioHardwareBadDeviceError);
    EXPECT_EQ(defaultDevice(fourCC("dOut")), device("speakers"));
}

TEST_P(AudioServers, APluggedDeviceIsToldTwice) {
    ListenerToken token = 0;
    ASSERT_EQ(server.addPropertyListener(systemObject, kAudioObjectAnyProperty, heard.listener(), token), 0);
    const auto told = [this] { return heard.count(fourCC("ownd")) > 0 && heard.count(fourCC("dev#")) > 0; };
    const QString plug = QStringLiteral("module-null-sink sink_name=plugged");
    const QString module = load(plug);
    ASSERT_TRUE(waitFor([&] { return told() && device("plugged"); }));
    const AudioObjectID plugged = device("plugged");
    EXPECT_EQ(deviceList(server).back(), plugged);
    heard.clear();
    control({"unload-module", module});
    EXPECT_TRUE(waitFor([&] { return told() && device("plugged") == 0; }));
    load(plug);
    EXPECT_TRUE(waitFor([&] { return device("plugged") == plugged; }));
}

TEST_P(AudioServers, WhatOtherProgramsChangeIsTold) {
    ASSERT_EQ(setDefault(server, fourCC("dOut"), device("speakers")), 0);
    ListenerToken ofSystem = 0, ofDevice = 0;
    server.addPropertyListener(systemObject, kAudioObjectAnyProperty, heard.listener(), ofSystem);
    server.addPropertyListener(device("loop"), kAudioObjectAnyProperty, heard.listener(), ofDevice);
    control({"set-default-sink", "loop"});
    EXPECT_TRUE(waitFor([this] { return heard.count(fourCC("dOut")) == 1 && heard.count(fourCC("sOut")) == 1; }));
    EXPECT_EQ(defaultDevice(fourCC("dOut")), device("loop"));
    control({"set-sink-mute", "loop", "1"});
    control({"set-sink-volume", "loop", "50%"});
    EXPECT_TRUE(waitFor([this] { return heard.count(fourCC("mute")) == 1 && heard.count(fourCC("volm")) == 1; }));
    EXPECT_FLOAT_EQ(value<float>(server, device("loop"), {fourCC("volm"), kAudioObjectPropertyScopeOutput}), 0.5F);
    const PlayedTone tone(daemon->address(), "loop");
    EXPECT_TRUE(waitFor([this] { return heard.count(fourCC("gone")) > 0; }));
    EXPECT_EQ(server.removePropertyListener(ofDevice), 0);
    EXPECT_EQ(server.removePropertyListener(ofSystem), 0);
}

TEST_P(AudioServers, AMultiOutputDevicePlaysIntoBoth) {
    const QVariantMap description = multiOutput("tqv-Multi-Output_UID", "tqv Multi-Output", {"loop", "speakers"});
    AudioObjectID combined = 0;
    ASSERT_EQ(server.createAggregateDevice(description, combined), 0);
    EXPECT_EQ(device("tqv-Multi-Output_UID"), combined);
    EXPECT_EQ(text(server, combined, fourCC("lnam")), "tqv Multi-Output");
    EXPECT_EQ(value<FourCharCode>(server, combined, {fourCC("clas")}), fourCC("aagg"));
    EXPECT_THAT(subDevices(combined), ElementsAre("loop", "speakers"));
    AudioObjectID second = 0;
    EXPECT_EQ(server.createAggregateDevice(description, second), kAudioHardwareIllegalOperationError);

    ASSERT_EQ(setDefault(server, fourCC("dOut"), combined), 0);
    {
        const PlayedTone tone(daemon->address(), "tqv-Multi-Output_UID");
        const double loop = recordedLevel(daemon->address(), "loop.monitor");
        const double speakers = recordedLevel(daemon->address(), "speakers.monitor");
        EXPECT_GT(loop, 0.1);
        EXPECT_LT(std::abs(20 * std::log10(loop / speakers)), 1.0);
    }
    EXPECT_EQ(server.destroyAggregateDevice(combined), 0);
    EXPECT_EQ(device("tqv-Multi-Output_UID"), 0U);
    EXPECT_FALSE(control({"list", "short", "modules"}).contains("module-combine-sink"));
    EXPECT_EQ(server.destroyAggregateDevice(combined), kAudioHardwareBadObjectError);
    EXPECT_EQ(server.destroyAggregateDevice(device("loop")), kAudioHardwareBadDeviceError);
    EXPECT_EQ(server.createAggregateDevice(multiOutput("both", "Both", {"loop", "gone"}), combined),
              kAudioHardwareBadDeviceError);
}

TEST_P(AudioServers, ANameMayHoldAnything) {
    AudioObjectID combined = 0;
    const QVariantMap description = multiOutput("both", "It's \"both\" \\ 扬声器 a=b", {"loop", "speakers"});
    ASSERT_EQ(server.createAggregateDevice(description, combined), 0);
    EXPECT_EQ(text(server, combined, fourCC("lnam")), "It’s ”both” ＼ 扬声器 a=b");
    EXPECT_THAT(subDevices(combined), ElementsAre("loop", "speakers"));
    EXPECT_EQ(server.destroyAggregateDevice(combined), 0);
}

TEST_P(AudioServers, AModuleLeftBehindIsAnAggregateLikeAnyOther) {
    load(QStringLiteral("module-combine-sink sink_name=left slaves=speakers,loop"));
    ASSERT_TRUE(waitFor([this] { return device("left") != 0; }));
    const AudioObjectID left = device("left");
    EXPECT_THAT(subDevices(left), ElementsAre("speakers", "loop"));
    EXPECT_EQ(server.destroyAggregateDevice(left), 0);
    EXPECT_FALSE(control({"list", "short", "modules"}).contains("module-combine-sink"));
}

TEST_P(AudioServers, AListenerMayCallBack) {
    std::atomic<OSStatus> status = 1;
    ListenerToken token = 0;
    const AudioObjectID loop = device("loop");
    server.addPropertyListener(
        systemObject, {fourCC("dev#")},
        [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
            return status = setDefault(server, fourCC("dIn "), loop);
        },
        token);
    load(QStringLiteral("module-null-sink sink_name=plugged"));
    EXPECT_TRUE(waitFor([&] { return status != 1; }));
    EXPECT_EQ(status, 0);
    server.removePropertyListener(token);
}

TEST_P(AudioServers, AServerThatRestartsGivesItsDevicesTheirIds) {
    const auto uids = {"loop", "speakers", "mic"};
    std::map<std::string, AudioObjectID> before;
    for (const char* uid : uids)
        before[uid] = device(uid);
    ListenerToken token = 0;
    server.addPropertyListener(systemObject, kAudioObjectAnyProperty, heard.listener(), token);
    daemon->kill();
    ASSERT_TRUE(waitFor([this] { return deviceList(server).empty(); }));
    EXPECT_EQ(defaultDevice(fourCC("dOut")), 0U);
    ASSERT_TRUE(daemon->restart());
    ASSERT_TRUE(waitFor([&, this] { return device("loop") && device("speakers") && device("mic"); }));
    for (const char* uid : uids)
        EXPECT_EQ(device(uid), before[uid]) << uid;
    heard.clear();
    EXPECT_EQ(setDefault(server, fourCC("dOut"), before["loop"]), 0);
    EXPECT_EQ(setDefault(server, fourCC("dOut"), before["speakers"]), 0);
    EXPECT_TRUE(waitFor([this] { return heard.count(fourCC("dOut")) > 0; }));
}

TEST_P(AudioServers, WritesGoOnThroughRestarts) {
    const AudioObjectID targets[] = {device("loop"), device("speakers")};
    const std::set<OSStatus> expected{0, kAudioHardwareNotRunningError, kAudioHardwareBadDeviceError,
                                      kAudioHardwareUnspecifiedError};
    std::atomic<bool> end = false;
    std::atomic<int> writes = 0, surprises = 0;
    std::thread writer([&, this] {
        for (; !end; ++writes)
            surprises += expected.contains(setDefault(server, fourCC("dOut"), targets[writes % 2])) ? 0 : 1;
    });
    for (int restart = 0; restart < 3; ++restart) {
        const int before = writes;
        EXPECT_TRUE(waitFor([&] { return writes > before + 3; }));
        EXPECT_TRUE(daemon->restart());
    }
    end = true;
    writer.join();
    EXPECT_EQ(surprises, 0);
    ASSERT_TRUE(waitFor([this] { return device("loop") && device("speakers"); }));
    EXPECT_EQ(setDefault(server, fourCC("dOut"), targets[0]), 0);
    EXPECT_EQ(defaultDevice(fourCC("dOut")), targets[0]);
}

} // namespace
