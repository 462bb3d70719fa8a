#include <Main/UnixSignals.h>
#include <gtest/gtest.h>
#include <support/WaitFor.h>

#include <csignal>

namespace parlowen {
namespace {

TEST(UnixSignals, EachWayToEndAProgramIsToldAndAHangUpThatIsIgnoredStaysSo) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        int told = 0;
        const UnixSignals signals([&told] { ++told; });
        ::raise(number);
        EXPECT_TRUE(parlowen::testing::waitFor([&told] { return told == 1; })) << number;
    }
    std::signal(SIGHUP, SIG_IGN);
    {
        const UnixSignals signals([] {});
        EXPECT_EQ(std::signal(SIGHUP, SIG_IGN), SIG_IGN);
    }
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

} // namespace
} // namespace parlowen
