#include <Page/AIInterviewPages/WindowLevel.h>
#include <gmock/gmock.h>

namespace parlowen {
namespace {

TEST(WindowLevelTest, OnAWaylandDesktopThatRunsX11ProgramsX11IsChosenUnlessTheUserChose) {
    const struct {
        DesktopEnvironment desktop;
        std::optional<QByteArray> platform;
    } cases[] = {{{"", "wayland-0", ":0"}, "xcb;wayland"}, {{"", "wayland-0", ""}, std::nullopt},
                 {{"", "", ":0"}, std::nullopt},           {{"wayland", "wayland-0", ":0"}, std::nullopt},
                 {{"offscreen", "", ""}, std::nullopt},    {{"", "", ""}, std::nullopt}};
    for (const auto& [desktop, platform] : cases)
        EXPECT_EQ(platformWithLevels(desktop), platform)
            << desktop.chosenPlatform.toStdString() << desktop.waylandDisplay.toStdString();
}

TEST(WindowLevelTest, WaylandAloneHasNoLevels) {
    for (const char* name : {"wayland", "wayland-egl"})
        EXPECT_FALSE(platformHasLevels(name));
    for (const char* name : {"xcb", "offscreen"})
        EXPECT_TRUE(platformHasLevels(name));
}

} // namespace
} // namespace parlowen
