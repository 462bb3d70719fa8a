#include "ObjectReading.h"
#include "support/Testing.h"
#include <future>
#include <thread>

using namespace parlowen;
using namespace parlowen::testing;

namespace {

constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

struct AudioObjects : ::testing::Test {
    SimulatedAudioServer server;
    const AudioObjectID loop = server.setDevice(sink("loop", "vorlanOutput 2ch"));
    const AudioObjectID output = server.setDevice(sink("speakers", "Speakers"));
    const AudioObjectID mic = server.setDevice(source("mic", "A Microphone"));
};

TEST_F(AudioObjects, TheDefaultInputIsWrittenWithADeviceThatFits) {
    EXPECT_EQ(setDefault(server, fourCC("dIn "), mic), 0);
    EXPECT_EQ(setDefault(server, fourCC("dIn "), loop), 0); // its monitor
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dIn ")}), loop);
    const std::vector<std::tuple<AudioObjectID, FourCharCode, std::vector<std::byte>, OSStatus>> refused = {
        {systemObject, fourCC("dOut"), propertyData(mic), kAudioHardwareBadDeviceError},
        {systemObject, fourCC("dIn "), propertyData(ids(server, mic, {fourCC("stm#")})), kAudioHardwareBadDeviceError},
        {systemObject, fourCC("dIn "), propertyData(std::uint64_t(mic)), kAudioHardwareBadPropertySizeError},
        {systemObject, fourCC("dev#"), propertyData(mic), kAudioHardwareUnsupportedOperationError},
        {mic, fourCC("lnam"), propertyData(std::string("Mine")), kAudioHardwareUnsupportedOperationError},
        {9999, fourCC("lnam"), {}, kAudioHardwareBadObjectError},
    };
    for (const auto& [object, selector, data, status] : refused)
        EXPECT_EQ(server.setPropertyData(object, {selector}, {}, data), status) << fourCCText(selector).toStdString();
}

TEST_F(AudioObjects, AnAggregateNeedsAWholeDescription) {
    const auto subDevices = [](const QStringList& uids) { return multiOutput({}, {}, uids).value("subdevices"); };
    const std::vector<std::tuple<QString, QVariant, OSStatus>> cases = {
        {"uid", "loop", kAudioHardwareIllegalOperationError},
        {"stacked", 0, kAudioHardwareUnsupportedOperationError},
        {"subdevices", {}, kAudioHardwareIllegalOperationError},
        {"subdevices", subDevices({"loop", "loop"}), kAudioHardwareIllegalOperationError},
        {"subdevices", subDevices({"loop", "gone"}), kAudioHardwareBadDeviceError},
        {"subdevices", subDevices({"loop", "mic"}), kAudioHardwareBadDeviceError},
    };
    for (const auto& [key, changed, expected] : cases) {
        QVariantMap description = multiOutput("both", "Both", {"loop", "speakers"});
        description[key] = changed;
        AudioObjectID device = 77;
        EXPECT_EQ(server.createAggregateDevice(description, device), expected) << key.toStdString();
        EXPECT_EQ(device, 77U);
    }
    EXPECT_THAT(deviceList(server), ElementsAre(loop, output, mic));
}

struct ProgramAudioServerTest : ::testing::Test {
    ProgramAudioServerTest() {
        for (const auto& record : {sink("speakers", "Speakers"), sink("headset", "Headset"), source("mic", "Mic"),
                                   source("usb", "USB Microphone")})
            server.setDevice(record);
        server.setDefaults("mic", "speakers");
    }
    OSStatus set(FourCharCode selector, const std::string& uid) {
        return setDefault(server, selector, server.deviceID(uid));
    }
    std::string defaultDevice(FourCharCode selector) { return parlowen::testing::defaultDevice(server, selector); }
    /// The UIDs behind the note "both".
    std::string subDevices() {
        std::string uids;
        for (const AudioObjectID id : ids(server, server.deviceID("both"), {fourCC("agrp")}))
            uids += text(server, id, fourCC("uid ")) + ' ';
        return uids;
    }

    SimulatedAudioServer server;
};

TEST_F(ProgramAudioServerTest, TheSessionsInputIsTheProgramsOwn) {
    constexpr auto input = fourCC("dIn "), users = fourCC("uIn ");
    EXPECT_EQ(defaultDevice(input), "mic") << "the server's, as long as nothing was set";
    for (const char* uid : {loopbackDevice::uid, "headset", "usb"}) {
        EXPECT_EQ(set(input, uid), 0);
        EXPECT_EQ(defaultDevice(input), uid);
        EXPECT_EQ(defaultDevice(users), "mic");
        EXPECT_EQ(server.devices().defaultInput, "mic");
    }
    const auto inputAfter = [&](const char* inputUid, const char* outputUid) {
        server.setDefaults(inputUid, outputUid);
        return defaultDevice(input);
    };
    EXPECT_EQ(inputAfter("speakers", "speakers"), "usb") << "a monitor is no choice of a microphone";
    server.removeDevice("usb");
    EXPECT_EQ(inputAfter("mic", "speakers"), "mic");
    server.setDevice(source("usb", "USB Microphone"));
    EXPECT_EQ(defaultDevice(input), "usb");
    server.setDevice(source("dock", "Dock"));
    server.setDefaults("usb", "speakers");
    EXPECT_EQ(set(input, "mic"), 0);
    EXPECT_EQ(inputAfter("dock", "speakers"), "dock") << "what the user chooses meanwhile";
    EXPECT_EQ(set(input, "headset"), 0);
    EXPECT_EQ(inputAfter("dock", "headset"), loopbackDevice::uid) << "another default output was chosen since";
    server.removeDevice("headset");
    EXPECT_EQ(inputAfter("dock", "speakers"), loopbackDevice::uid) << "then what the default output plays";
}

TEST_F(ProgramAudioServerTest, AnAggregateIsANoteThatEndsWithAnotherDefaultOutputOrItsDestruction) {
    const QVariantMap description = multiOutput("both", "Both", {loopbackDevice::uid, "speakers"});
    AudioObjectID both = 0, second = 0;
    ASSERT_EQ(server.createAggregateDevice(description, both), 0);
    EXPECT_EQ(server.createAggregateDevice(multiOutput("more", "More", {"headset"}), second),
              kAudioHardwareIllegalOperationError);
    EXPECT_EQ(ids(server, both, {fourCC("ownd")}, propertyData(fourCC("asub"))).size(), 2U);
    constexpr auto input = fourCC("dIn "), output = fourCC("dOut");
    EXPECT_EQ(defaultDevice(output), "speakers");
    EXPECT_EQ(set(output, "both"), 0);
    EXPECT_EQ(defaultDevice(output), "both");
    const std::string loopback = loopbackDevice::uid;
    for (const std::string& heard : {loopback, std::string("headset"), loopback}) { // as it is chosen in the program
        EXPECT_EQ(set(input, heard), 0);
        EXPECT_EQ(subDevices(), loopback + (heard == loopback ? " speakers " : " headset "));
    }
    server.setDefaults("mic", "headset");
    EXPECT_EQ(defaultDevice(output), "both");
    EXPECT_EQ(subDevices(), loopback + " headset ") << "the note moves on with the session";
    EXPECT_EQ(set(output, "speakers"), 0);
    EXPECT_EQ(defaultDevice(output), "headset") << "the server's own";
    EXPECT_EQ(set(output, "both"), 0);
    EXPECT_EQ(server.destroyAggregateDevice(server.deviceID("speakers")), kAudioHardwareBadDeviceError);
    EXPECT_EQ(server.destroyAggregateDevice(both), 0);
    EXPECT_EQ(server.destroyAggregateDevice(both), kAudioHardwareBadObjectError);
    EXPECT_EQ(defaultDevice(output), "headset");
}

struct PropertyListening : ::testing::Test {
    std::vector<std::string> heard(Ear& ear) {
        server.drainListeners();
        return ear.heard();
    }

    SimulatedAudioServer server;
    const AudioObjectID output = server.setDevice(sink("speakers", "Speakers"));
    const AudioObjectID mic = server.setDevice(source("mic", "A Microphone"));
};

TEST_F(PropertyListening, EachHearsWhatItAskedFor) {
    Ear system(server, systemObject);
    Ear list(server, systemObject, {fourCC("dev#")});
    server.setDevice(source("second", "Second"));
    EXPECT_THAT(heard(system), ElementsAre("dev#/glob ownd/glob"));
    server.removeDevice("second");
    EXPECT_THAT(heard(system), ElementsAre("dev#/glob ownd/glob"));
    server.setDefaults("mic", "speakers");
    server.setDefaults("mic", "");
    server.setDefaults("mic", "");
    EXPECT_THAT(heard(system), ElementsAre("dIn /glob uIn /glob", "dOut/glob sOut/glob"));
    EXPECT_THAT(heard(list), ElementsAre("dev#/glob", "dev#/glob"));

    Ear all(server, output);
    Ear loudness(server, output,
                 {fourCC("volm"), kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard});
    server.renameDevice("speakers", "Loud Speakers");
    AudioDeviceRecord changed = sink("speakers", "Loud Speakers");
    changed.running = true;
    changed.output->volume = 0.5F;
    changed.input->mute = true;
    server.setDevice(changed);
    EXPECT_THAT(heard(all), ElementsAre("lnam/glob", "goin/glob gone/glob mute/inpt volm/outp"));
    EXPECT_THAT(heard(loudness), ElementsAre("volm/outp"));
    Ear grown(server, mic, {fourCC("volm"), kAudioObjectPropertyScopeOutput});
    server.setDevice(sink("mic", "A Microphone"));
    EXPECT_THAT(heard(grown), ElementsAre("volm/outp")) << "a property that was not there before";
}

TEST_F(PropertyListening, ARegistrationOutlivesItsDeviceAndARefusalLeavesNothing) {
    Ear ear(server, mic);
    server.removeDevice("mic");
    EXPECT_EQ(Ear(server, mic).status, kAudioHardwareBadObjectError);
    server.setDevice(source("mic", "Back"));
    server.renameDevice("mic", "Again");
    EXPECT_THAT(heard(ear), ElementsAre("livn/glob", "livn/glob", "lnam/glob"));
    EXPECT_EQ(server.listenerCount(), 1U);
    EXPECT_EQ(server.removePropertyListener(ear.token), 0);
    EXPECT_EQ(server.removePropertyListener(ear.token), kAudioHardwareIllegalOperationError);
    server.removeDevice("mic");
    EXPECT_THAT(heard(ear), IsEmpty());
}

TEST_F(PropertyListening, RemovingWaitsForTheCallThatIsRunning) {
    std::promise<void> inside, goOn;
    std::atomic<bool> returned = false;
    ListenerToken token = 0;
    server.addPropertyListener(
        output, kAudioObjectAnyProperty,
        [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
            inside.set_value();
            goOn.get_future().wait();
            returned = true;
            return OSStatus(0);
        },
        token);
    server.renameDevice("speakers", "One");
    server.renameDevice("speakers", "Two"); // waits behind the first and must not be told any more
    inside.get_future().wait();
    auto removed = std::async(std::launch::async, [&] {
        server.removePropertyListener(token);
        return returned.load();
    });
    while (server.listenerCount() > 0)
        std::this_thread::yield();
    goOn.set_value();
    EXPECT_TRUE(removed.get());
    server.drainListeners(); // a second call would set the promises again and throw
}

TEST_F(PropertyListening, AListenerMayRemoveItself) {
    ListenerToken token = 0;
    std::atomic<int> calls = 0;
    const auto once = [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
        ++calls;
        return server.removePropertyListener(token);
    };
    server.addPropertyListener(mic, {fourCC("lnam")}, once, token);
    server.renameDevice("mic", "One");
    server.renameDevice("mic", "Two");
    server.drainListeners();
    EXPECT_EQ(calls, 1);
}

} // namespace
