#include <Foundation/MainQueue.h>
#include <Tools/TimerManager.h>
#include <gmock/gmock.h>

#include <numeric>
#include <thread>
#include <vector>

#include "support/CapturedLog.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

using ::testing::ElementsAre;

class TimerManagerTest : public ::testing::Test {
protected:
    TimerManagerTest() {
        clock_.setOnTick([this](qint64 seconds) { ticks_.push_back(seconds); });
    }

    bool waitForTick(qint64 count) {
        return waitFor([&] { return !ticks_.empty() && ticks_.back() >= count; });
    }

    const CapturedLog log_;
    std::vector<qint64> ticks_;
    TimerManager clock_{std::chrono::milliseconds(1)};
};

TEST_F(TimerManagerTest, CountsEverySecondAndRefreshesEvery480) {
    std::vector<qint64> refreshes;
    clock_.setOnTick([this](qint64 seconds) {
        EXPECT_TRUE(isMainThread());
        ticks_.push_back(seconds);
    });
    clock_.setOnTokenRefresh([&] { refreshes.push_back(ticks_.back()); });
    clock_.start();
    ASSERT_TRUE(waitForTick(970));
    clock_.stop();
    std::vector<qint64> expected(ticks_.size());
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(ticks_, expected);
    EXPECT_THAT(refreshes, ElementsAre(480, 960));
    EXPECT_EQ(log_.lines(), (QStringList{"🔄 刷新微软 token", "🔄 刷新微软 token"}));
}

TEST_F(TimerManagerTest, EveryStartCountsFromZeroWithOneTimer) {
    clock_.start();
    ASSERT_TRUE(waitForTick(5));
    clock_.start();
    clock_.start();
    EXPECT_EQ(clock_.elapsedSeconds(), 0);
    ticks_.clear();
    ASSERT_TRUE(waitForTick(3));
    std::thread([this] { clock_.stop(); }).join();
    ASSERT_GE(ticks_.size(), 3U);
    EXPECT_THAT(std::vector(ticks_.begin(), ticks_.begin() + 3), ElementsAre(1, 2, 3));
    ticks_.clear();
    EXPECT_TRUE(holdsFor([this] { return ticks_.empty() && clock_.elapsedSeconds() == 0; }, 30)) << "a stop is final";
    clock_.start();
    ASSERT_TRUE(waitForTick(1));
    EXPECT_EQ(ticks_.front(), 1);
}

TEST_F(TimerManagerTest, ALateStopOfTheLastSessionDoesNotStopTheNext) {
    const TimerManager::Session first = clock_.setOnTokenRefresh([] { FAIL() << "the first session is over"; });
    clock_.start();
    std::thread([&] { clock_.stop(first); }).join();
    EXPECT_EQ(clock_.elapsedSeconds(), 0);
    bool refreshed = false;
    clock_.setOnTokenRefresh([&] { refreshed = true; });
    clock_.start(); // before the main thread has heard of the stop
    std::thread([&] {
        clock_.stop(first);
        clock_.clearOnTokenRefresh(first);
    }).join();
    EXPECT_TRUE(waitForTick(481));
    EXPECT_TRUE(refreshed);
}

} // namespace
} // namespace parlowen::testing
