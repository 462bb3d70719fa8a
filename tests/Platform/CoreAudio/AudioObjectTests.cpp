#include "ObjectReading.h"

#include <CoreAudio/AudioHardwareService.h>
#include <gmock/gmock.h>

using namespace parlowen;
using namespace parlowen::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

class AudioObjects : public ::testing::Test {
protected:
    AudioObjectID createCombined() {
        AudioObjectID device = 0;
        server.createAggregateDevice(multiOutput("both", "Both", {"loop", "speakers"}), device);
        return device;
    }

    SimulatedAudioServer server;
    const AudioObjectID loop = server.setDevice(sink("loop", "vorlanOutput 2ch"));
    const AudioObjectID output = server.setDevice(sink("speakers", "Speakers"));
    const AudioObjectID mic = server.setDevice(source("mic", "A Microphone"));
};

TEST(AudioCodes, AreTheCharactersOfTheirTexts) {
    EXPECT_EQ(fourCC("dIn "), 0x64496E20U);
    EXPECT_EQ(kAudioHardwareBadObjectError, 560947818);
    EXPECT_EQ(fourCCText(fourCC("sOut")), QStringLiteral("sOut"));
    EXPECT_EQ(fourCCText(50), QStringLiteral("...2"));
}

TEST_F(AudioObjects, ADeviceShowsWhatItIs) {
    EXPECT_THAT(deviceList(server), ElementsAre(loop, output, mic));
    EXPECT_EQ(value<FourCharCode>(server, systemObject, {fourCC("clas")}), fourCC("asys"));
    EXPECT_EQ(value<FourCharCode>(server, mic, {fourCC("clas")}), fourCC("adev"));
    EXPECT_EQ(value<AudioObjectID>(server, mic, {fourCC("ownr")}), systemObject);
    EXPECT_EQ(text(server, mic, fourCC("lnam")), "A Microphone");
    EXPECT_EQ(text(server, mic, fourCC("uid ")), "mic");
    EXPECT_EQ(value<double>(server, mic, {fourCC("nsrt")}), 48000);
    EXPECT_EQ(value<std::uint32_t>(server, mic, {fourCC("livn")}), 1U);
    EXPECT_EQ(value<float>(server, mic, {fourCC("volm"), kAudioObjectPropertyScopeInput}), 1.F);
    EXPECT_FALSE(server.hasProperty(mic, {fourCC("volm"), kAudioObjectPropertyScopeOutput}));
    EXPECT_THAT(ids(server, mic, {fourCC("stm#"), kAudioObjectPropertyScopeOutput}), IsEmpty());
    const auto streams = ids(server, mic, {fourCC("stm#"), kAudioObjectPropertyScopeInput});
    ASSERT_EQ(streams.size(), 1U);
    EXPECT_EQ(value<FourCharCode>(server, streams[0], {fourCC("clas")}), fourCC("astr"));
    EXPECT_EQ(value<AudioObjectID>(server, streams[0], {fourCC("ownr")}), mic);
}

TEST_F(AudioObjects, AQualifierPicksOwnedObjectsByClass) {
    const AudioObjectID combined = createCombined();
    EXPECT_EQ(value<FourCharCode>(server, combined, {fourCC("clas")}), fourCC("aagg"));
    const auto all = ids(server, combined, {fourCC("ownd")});
    EXPECT_EQ(all.size(), 8U); // two sub-devices, two streams, a level and a mute control on each side
    EXPECT_EQ(ids(server, combined, {fourCC("ownd")}, propertyData(fourCC("aobj"))), all);
    EXPECT_EQ(ids(server, combined, {fourCC("ownd")}, propertyData(fourCC("actl"))).size(), 4U);
    const auto subDevices = ids(server, combined, {fourCC("ownd")}, propertyData(fourCC("adev")));
    EXPECT_EQ(subDevices, ids(server, combined, {fourCC("agrp")}));
    ASSERT_EQ(subDevices.size(), 2U);
    EXPECT_EQ(text(server, subDevices[0], fourCC("uid ")), "loop");
    EXPECT_EQ(text(server, subDevices[1], fourCC("lnam")), "Speakers");
    EXPECT_EQ(value<FourCharCode>(server, subDevices[0], {fourCC("clas")}), fourCC("asub"));
    const std::vector<FourCharCode> two{fourCC("astr"), fourCC("asub")};
    EXPECT_EQ(ids(server, combined, {fourCC("ownd")}, propertyData(two)).size(), 4U);
    EXPECT_THAT(ids(server, output, {fourCC("ownd")}, propertyData(fourCC("adev"))), IsEmpty());
    std::vector<std::byte> data;
    EXPECT_EQ(server.getPropertyData(combined, {fourCC("ownd")}, std::vector<std::byte>(3), data),
              kAudioHardwareBadPropertySizeError);
}

TEST_F(AudioObjects, ReadsThatCannotBeAnsweredLeaveTheDataAlone) {
    std::vector<std::byte> data = propertyData(std::string("before"));
    EXPECT_EQ(server.getPropertyData(9999, {fourCC("lnam")}, {}, data), kAudioHardwareBadObjectError);
    EXPECT_EQ(server.getPropertyData(mic, {fourCC("none")}, {}, data), kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(server.getPropertyData(mic, {fourCC("lnam"), fourCC("inpt")}, {}, data),
              kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(server.getPropertyData(mic, {fourCC("lnam"), fourCC("glob"), 1}, {}, data),
              kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(propertyText(data), "before");
}

TEST_F(AudioObjects, DefaultsAreWrittenWithDevicesThatFit) {
    EXPECT_EQ(setDefault(server, fourCC("dIn "), mic), 0);
    EXPECT_EQ(setDefault(server, fourCC("sOut"), output), 0);
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dIn ")}), mic);
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dOut")}), output);
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("sOut")}), output);
    EXPECT_EQ(setDefault(server, fourCC("dIn "), loop), 0); // its monitor

    const auto streams = ids(server, mic, {fourCC("stm#")});
    EXPECT_EQ(setDefault(server, fourCC("dOut"), mic), kAudioHardwareBadDeviceError);
    EXPECT_EQ(setDefault(server, fourCC("dIn "), streams.at(0)), kAudioHardwareBadDeviceError);
    EXPECT_EQ(setDefault(server, fourCC("dIn "), 0), kAudioHardwareBadDeviceError);
    EXPECT_EQ(setDefault(server, fourCC("dev#"), mic), kAudioHardwareUnsupportedOperationError);
    EXPECT_EQ(setDefault(server, fourCC("none"), mic), kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(server.setPropertyData(systemObject, {fourCC("dIn ")}, {}, propertyData(std::uint64_t(mic))),
              kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(server.setPropertyData(mic, {fourCC("lnam")}, {}, propertyData(std::string("Mine"))),
              kAudioHardwareUnsupportedOperationError);
    EXPECT_EQ(server.setPropertyData(9999, {fourCC("lnam")}, {}, {}), kAudioHardwareBadObjectError);
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dOut")}), output);
}

TEST_F(AudioObjects, AnIdBelongsToOneUidForGood) {
    server.removeDevice("loop");
    EXPECT_THAT(deviceList(server), ElementsAre(output, mic));
    EXPECT_EQ(text(server, loop, fourCC("lnam")), "status !obj");
    EXPECT_NE(server.setDevice(sink("new", "New")), loop);
    EXPECT_EQ(server.setDevice(sink("loop", "Back")), loop);
    EXPECT_THAT(deviceList(server), ElementsAre(loop, output, mic, server.deviceID("new")));
}

TEST_F(AudioObjects, AnAggregateNeedsAWholeDescription) {
    const auto refusal = [this](const char* key, const QVariant& changed) {
        QVariantMap description = multiOutput("both", "Both", {"loop", "speakers"});
        description[QString::fromLatin1(key)] = changed;
        AudioObjectID device = 77;
        const OSStatus status = server.createAggregateDevice(description, device);
        EXPECT_EQ(device, 77U) << key;
        return status;
    };
    const auto subDevices = [](const QStringList& uids) { return multiOutput({}, {}, uids).value("subdevices"); };
    EXPECT_EQ(refusal("uid", "loop"), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(refusal("uid", "two words"), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(refusal("uid", QVariant()), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(refusal("name", QVariant()), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(refusal("stacked", 0), kAudioHardwareUnsupportedOperationError);
    EXPECT_EQ(refusal("subdevices", QVariant()), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(refusal("subdevices", subDevices({"loop", "loop"})), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(refusal("subdevices", subDevices({"loop", "gone"})), kAudioHardwareBadDeviceError);
    EXPECT_EQ(refusal("subdevices", subDevices({"loop", "mic"})), kAudioHardwareBadDeviceError);
    EXPECT_THAT(deviceList(server), ElementsAre(loop, output, mic));
}

TEST_F(AudioObjects, OnlyAnAggregateIsDestroyed) {
    const AudioObjectID combined = createCombined();
    EXPECT_THAT(deviceList(server), ElementsAre(loop, output, mic, combined));
    EXPECT_EQ(server.destroyAggregateDevice(output), kAudioHardwareBadDeviceError);
    EXPECT_EQ(server.destroyAggregateDevice(systemObject), kAudioHardwareBadDeviceError);
    EXPECT_EQ(server.destroyAggregateDevice(combined), 0);
    EXPECT_EQ(server.destroyAggregateDevice(combined), kAudioHardwareBadObjectError);
    EXPECT_THAT(deviceList(server), ElementsAre(loop, output, mic));
}

TEST_F(AudioObjects, FaultsHitWhatTheyAreSetFor) {
    server.failReads(mic, fourCC("lnam"), kAudioHardwareUnspecifiedError);
    server.hideProperty(output, fourCC("uid "));
    server.failWrites(systemObject, fourCC("dOut"), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(text(server, mic, fourCC("lnam")), "status what");
    EXPECT_TRUE(server.hasProperty(mic, {fourCC("lnam")}));
    EXPECT_EQ(text(server, output, fourCC("lnam")), "Speakers");
    EXPECT_EQ(text(server, output, fourCC("uid ")), "status who?");
    EXPECT_FALSE(server.hasProperty(output, {fourCC("uid ")}));
    EXPECT_EQ(setDefault(server, fourCC("dOut"), output), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dOut")}), loop);
    server.failCreatingAggregates(-50);
    AudioObjectID device = 0;
    EXPECT_EQ(server.createAggregateDevice(multiOutput("both", "Both", {"loop", "speakers"}), device), -50);
    server.clearFaults();
    EXPECT_EQ(text(server, mic, fourCC("lnam")), "A Microphone");
    const AudioObjectID combined = createCombined();
    server.failDestroyingAggregates(-50);
    EXPECT_EQ(server.destroyAggregateDevice(combined), -50);
}

TEST_F(AudioObjects, ADeviceGoesAtTheWrongMoment) {
    server.beforeCall(3, [this] { server.removeDevice("mic"); });
    EXPECT_EQ(deviceList(server).size(), 3U);
    EXPECT_EQ(text(server, mic, fourCC("lnam")), "A Microphone");
    EXPECT_EQ(text(server, mic, fourCC("uid ")), "status !obj");
    EXPECT_EQ(text(server, mic, fourCC("uid ")), "status !obj");
    EXPECT_EQ(server.callCount(), 4U);
}

TEST_F(AudioObjects, ADefaultDeviceThatGoesIsReplaced) {
    server.setDefaults("mic", "speakers");
    server.removeDevice("speakers");
    server.removeDevice("mic");
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dOut")}), loop);
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dIn ")}), loop);
    server.removeDevice("loop");
    std::vector<std::byte> data;
    EXPECT_EQ(server.getPropertyData(systemObject, {fourCC("dOut")}, {}, data), 0);
    EXPECT_EQ(propertyValue<AudioObjectID>(data), kAudioObjectUnknown);
}

TEST(AudioHardwareServiceTest, KeepsTheInstalledServer) {
    EXPECT_EQ(AudioHardwareService::shared(), nullptr);
    const auto server = std::make_shared<SimulatedAudioServer>();
    AudioHardwareService::install(server);
    EXPECT_EQ(AudioHardwareService::shared(), server);
    AudioHardwareService::install(nullptr);
    EXPECT_EQ(AudioHardwareService::shared(), nullptr);
    EXPECT_EQ(server.use_count(), 1);
}

} // namespace
