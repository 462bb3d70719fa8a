#include <CoreAudio/PulseSnapshot.h>
#include <gmock/gmock.h>

using namespace parlowen;
using ::testing::ElementsAre;

namespace {

TEST(PulseSnapshotTest, ASinkOfTheCombineModuleIsAnAggregate) {
    PulseSnapshot state;
    for (const std::string name : {"loop", "card", "both"}) {
        state.sinks.emplace_back().name = name;
        state.sinks.back().partner = name + ".monitor";
    }
    state.sinks[0].ownerModule = 6;
    state.sinks[1].hardware = true;
    state.sinks[2].ownerModule = 7;
    state.modules = {{6, "module-null-sink", "sink_name=loop"}, {7, "module-combine-sink", ""}};
    const auto subDevicesWith = [&](const std::string& slaves) {
        state.modules[1].arguments = "sink_name=both " + slaves;
        return state.devices().devices[2].subDevices.value();
    };
    EXPECT_THAT(subDevicesWith("slaves=loop, sink_properties=x slaves='loop , card'"), ElementsAre("loop"));
    EXPECT_THAT(subDevicesWith("slaves=\"loop,gone\""), ElementsAre("loop", "gone"));
    EXPECT_THAT(subDevicesWith(""), ElementsAre("card")) << "all hardware";
    EXPECT_EQ(state.devices().devices[2].transport, fourCC("grup"));
    EXPECT_FALSE(state.devices().devices[0].subDevices);
}

TEST(PulseArguments, AreTakenApart) {
    const std::string_view arguments = R"( a=1  b='two words' c="x=\"y\""	d=)";
    EXPECT_EQ(moduleArgument(arguments, "a"), "1");
    EXPECT_EQ(moduleArgument(arguments, "b"), "two words");
    EXPECT_EQ(moduleArgument(arguments, "c"), "x=\"y\"");
    EXPECT_EQ(moduleArgument(arguments, "d"), "");
    EXPECT_EQ(moduleArgument(arguments, "y"), std::nullopt);
    EXPECT_EQ(moduleArgument("a", "a"), std::nullopt);
    EXPECT_EQ(moduleArgument("a='open", "a"), "open");
}

} // namespace
