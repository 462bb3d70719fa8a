#include <CoreAudio/PulseSnapshot.h>
#include <gmock/gmock.h>

using namespace parlowen;
using ::testing::ElementsAre;

namespace {

PulseEndpoint endpoint(const std::string& name, const std::string& description, const std::string& partner) {
    PulseEndpoint result;
    result.name = name;
    result.description = description;
    result.partner = partner;
    return result;
}

PulseSnapshot twoSinksAndAMicrophone() {
    PulseSnapshot state;
    state.sinks = {endpoint("loop", "vorlanOutput 2ch", "loop.monitor"), endpoint("card", "Speakers", "card.monitor")};
    state.sinks[1].hardware = true;
    state.sources = {endpoint("loop.monitor", "Monitor of vorlanOutput 2ch", "loop"),
                     endpoint("card.monitor", "Monitor of Speakers", "card"), endpoint("mic", "Microphone", "")};
    state.sources[0].side.mute = true;
    state.defaultSink = "card";
    state.defaultSource = "loop.monitor";
    return state;
}

TEST(PulseSnapshotTest, ASinkRecordsThroughItsMonitorAndAMonitorIsNoDevice) {
    const AudioDeviceList list = twoSinksAndAMicrophone().devices();
    ASSERT_EQ(list.devices.size(), 3U);
    EXPECT_EQ(list.devices[0].uid, "loop");
    EXPECT_EQ(list.devices[0].name, "vorlanOutput 2ch");
    ASSERT_TRUE(list.devices[0].input && list.devices[0].output);
    EXPECT_TRUE(list.devices[0].input->mute);
    EXPECT_FALSE(list.devices[0].output->mute);
    EXPECT_EQ(list.devices[2].uid, "mic");
    EXPECT_TRUE(list.devices[2].input && !list.devices[2].output);
    EXPECT_EQ(list.defaultInput, "loop");
    EXPECT_EQ(list.defaultOutput, "card");
}

TEST(PulseSnapshotTest, ASinkOfTheCombineModuleIsAnAggregate) {
    PulseSnapshot state = twoSinksAndAMicrophone();
    state.sinks.push_back(endpoint("both", "Both", "both.monitor"));
    state.sinks[2].ownerModule = 7;
    state.sinks[0].ownerModule = 6;
    state.modules = {{6, "module-null-sink", "sink_name=loop"},
                     {7, "module-combine-sink", "sink_name=both slaves=loop, sink_properties=x slaves='loop , card'"}};
    EXPECT_EQ(state.devices().devices[2].subDevices, std::vector<std::string>{"loop"});
    state.modules[1].arguments = "sink_name=both slaves=\"loop,gone\"";
    EXPECT_THAT(*state.devices().devices[2].subDevices, ElementsAre("loop", "gone"));
    state.modules[1].arguments = "sink_name=both"; // all hardware
    EXPECT_THAT(*state.devices().devices[2].subDevices, ElementsAre("card"));
    EXPECT_EQ(state.devices().devices[2].transport, fourCC("grup"));
    EXPECT_FALSE(state.devices().devices[0].subDevices);
    EXPECT_EQ(state.combineModule("both")->index, 7U);
    EXPECT_EQ(state.combineModule("loop"), nullptr);
}

TEST(PulseArguments, AreTakenApart) {
    const std::string_view arguments = R"( a=1  b='two words' c="x=\"y\""	d=)";
    EXPECT_EQ(moduleArgument(arguments, "a"), "1");
    EXPECT_EQ(moduleArgument(arguments, "b"), "two words");
    EXPECT_EQ(moduleArgument(arguments, "c"), "x=\"y\"");
    EXPECT_EQ(moduleArgument(arguments, "d"), "");
    EXPECT_EQ(moduleArgument(arguments, "y"), std::nullopt);
    EXPECT_EQ(moduleArgument("", "a"), std::nullopt);
    EXPECT_EQ(moduleArgument("a", "a"), std::nullopt);
    EXPECT_EQ(moduleArgument("a='open", "a"), "open");
}

TEST(PulseArguments, OfACombineModuleSurviveTwoLayersOfQuotes) {
    const std::string arguments = combineArguments({"both_UID", "It's \"both\" \\o/", {"one", "two"}});
    EXPECT_EQ(moduleArgument(arguments, "sink_name"), "both_UID");
    EXPECT_EQ(moduleArgument(arguments, "slaves"), "one,two");
    const auto properties = moduleArgument(arguments, "sink_properties");
    EXPECT_EQ(moduleArgument(*properties, "device.description"), "It’s ”both” ＼o/");
}

} // namespace
