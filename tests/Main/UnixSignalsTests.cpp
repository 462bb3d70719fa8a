#include <Main/UnixSignals.h>
#include <gtest/gtest.h>
#include <support/WaitFor.h>

#include <csignal>

namespace parlowen {
namespace {

using ::parlowen::testing::waitFor;

TEST(UnixSignals, EachWayToEndAProgramIsTold) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        int told = 0;
        const UnixSignals signals([&told] { ++told; });
        ::raise(number);
        EXPECT_TRUE(waitFor([&told] { return told == 1; })) << number;
    }
}

TEST(UnixSignals, AHangUpThatIsIgnoredStaysSo) {
    std::signal(SIGHUP, SIG_IGN);
    {
        const UnixSignals signals([] {});
        EXPECT_EQ(std::signal(SIGHUP, SIG_IGN), SIG_IGN);
    }
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

} // namespace
} // namespace parlowen
