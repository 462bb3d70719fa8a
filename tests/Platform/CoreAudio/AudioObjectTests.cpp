#include "ObjectReading.h"

#include <gmock/gmock.h>

using namespace parlowen;
using namespace parlowen::testing;
using ::testing::ElementsAre;

namespace {

constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

class AudioObjects : public ::testing::Test {
protected:
    SimulatedAudioServer server;
    const AudioObjectID loop = server.setDevice(sink("loop", "vorlanOutput 2ch"));
    const AudioObjectID output = server.setDevice(sink("speakers", "Speakers"));
    const AudioObjectID mic = server.setDevice(source("mic", "A Microphone"));
};

TEST_F(AudioObjects, AQualifierPicksOwnedObjectsByClass) {
    AudioObjectID combined = 0;
    ASSERT_EQ(server.createAggregateDevice(multiOutput("both", "Both", {"loop", "speakers"}), combined), 0);
    const auto owned = [&](const std::vector<FourCharCode>& classes) {
        return ids(server, combined, {fourCC("ownd")}, propertyData(classes));
    };
    EXPECT_EQ(owned({fourCC("aobj")}).size(), 8U); // two sub-devices, two streams, a level and a mute control each side
    EXPECT_EQ(owned({fourCC("actl")}).size(), 4U);
    EXPECT_EQ(owned({fourCC("astr"), fourCC("asub")}).size(), 4U);
    const auto subDevices = owned({fourCC("adev")});
    EXPECT_EQ(subDevices, ids(server, combined, {fourCC("agrp")}));
    ASSERT_EQ(subDevices.size(), 2U);
    EXPECT_EQ(text(server, subDevices[1], fourCC("lnam")), "Speakers");
    EXPECT_EQ(value<FourCharCode>(server, subDevices[0], {fourCC("clas")}), fourCC("asub"));
    EXPECT_EQ(value<AudioObjectID>(server, subDevices[0], {fourCC("ownr")}), combined);
    std::vector<std::byte> data;
    EXPECT_EQ(server.getPropertyData(combined, {fourCC("ownd")}, std::vector<std::byte>(3), data),
              kAudioHardwareBadPropertySizeError);
}

TEST_F(AudioObjects, ReadsThatCannotBeAnsweredLeaveTheDataAlone) {
    std::vector<std::byte> data = propertyData(std::string("before"));
    for (const AudioObjectPropertyAddress& address : {AudioObjectPropertyAddress{fourCC("none")},
                                                      {fourCC("lnam"), fourCC("inpt")},
                                                      {fourCC("lnam"), fourCC("glob"), 1},
                                                      {fourCC("volm"), kAudioObjectPropertyScopeOutput}}) {
        EXPECT_EQ(server.getPropertyData(mic, address, {}, data), kAudioHardwareUnknownPropertyError);
        EXPECT_FALSE(server.hasProperty(mic, address));
    }
    EXPECT_EQ(propertyText(data), "before");
    EXPECT_EQ(text(server, 9999, fourCC("lnam")), "status !obj");
}

TEST_F(AudioObjects, TheDefaultInputIsWrittenWithADeviceThatFits) {
    EXPECT_EQ(setDefault(server, fourCC("dIn "), mic), 0);
    EXPECT_EQ(setDefault(server, fourCC("dIn "), loop), 0); // its monitor
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dIn ")}), loop);

    const std::vector<std::tuple<AudioObjectID, FourCharCode, std::vector<std::byte>, OSStatus>> refused = {
        {systemObject, fourCC("dOut"), propertyData(mic), kAudioHardwareBadDeviceError},
        {systemObject, fourCC("dIn "), propertyData(ids(server, mic, {fourCC("stm#")})), kAudioHardwareBadDeviceError},
        {systemObject, fourCC("dIn "), propertyData(AudioObjectID(0)), kAudioHardwareBadDeviceError},
        {systemObject, fourCC("dIn "), propertyData(std::uint64_t(mic)), kAudioHardwareBadPropertySizeError},
        {systemObject, fourCC("dev#"), propertyData(mic), kAudioHardwareUnsupportedOperationError},
        {systemObject, fourCC("none"), propertyData(mic), kAudioHardwareUnknownPropertyError},
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
        {"uid", "two words", kAudioHardwareIllegalOperationError},
        {"uid", {}, kAudioHardwareIllegalOperationError},
        {"name", {}, kAudioHardwareIllegalOperationError},
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

} // namespace
