#include <Tools/PopView/Colors.h>
#include <gmock/gmock.h>

namespace parlowen {
namespace {

TEST(ColorsTest, ReadsTheComponentsAndClampsTheAlpha) {
    EXPECT_EQ(hexColor(theme::accent), QColor(25, 207, 174, 255));
    EXPECT_EQ(hexColor(0x010203).rgb(), qRgb(1, 2, 3));
    EXPECT_EQ(hexColor(0x010203, 1.5).alpha(), 255);
    EXPECT_EQ(hexColor(0x010203, -0.2).alpha(), 0);
    EXPECT_NEAR(hexColor(theme::sessionWindow, 0.7).alphaF(), 0.7, 0.001);
}

} // namespace
} // namespace parlowen
