#include <Foundation/MainQueue.h>
#include <Tools/TimerManager.h>
#include <gmock/gmock.h>

#include <QCoreApplication>
#include <thread>
#include <vector>

#include "support/CapturedLog.h"

namespace parlowen::testing {
namespace {

using ::testing::ElementsAre;

/// A clock whose seconds pass when the test says so.
class TimerManagerTest : public ::testing::Test {
protected:
    TimerManagerTest() {
        onMain([] {}); // as every program has done before, on its main thread
        clock_.setOnTick([this](qint64 seconds) { ticks_.push_back(seconds); });
    }

    void pass(int seconds) {
        for (int i = 0; i < seconds; ++i) {
            if (const auto ticker = tickers_.back().lock())
                (*ticker)();
        }
    }

    const CapturedLog log_;
    std::vector<qint64> ticks_;
    std::vector<std::weak_ptr<std::function<void()>>> tickers_; ///< all that were started
    TimerManager clock_{[this](std::function<void()> tick) {
        auto ticker = std::make_shared<std::function<void()>>(std::move(tick));
        tickers_.push_back(ticker);
        return ticker;
    }};
};

TEST_F(TimerManagerTest, CountsEverySecondAndRefreshesEvery480) {
    std::vector<qint64> refreshes;
    clock_.setOnTokenRefresh([&] { refreshes.push_back(ticks_.back()); });
    clock_.start();
    pass(970);
    EXPECT_EQ(ticks_.size(), 970U);
    EXPECT_EQ(ticks_.front(), 1);
    EXPECT_EQ(ticks_.back(), 970);
    EXPECT_THAT(refreshes, ElementsAre(480, 960));
    EXPECT_EQ(log_.lines(), (QStringList{"🔄 刷新微软 token", "🔄 刷新微软 token"}));
    clock_.setOnTick(nullptr);
    pass(470);
    EXPECT_THAT(refreshes, ElementsAre(480, 960, 970)) << "without onTick as well";
}

TEST_F(TimerManagerTest, EveryStartCountsFromZeroWithOneTimerAndAStopIsFinal) {
    clock_.start();
    pass(5);
    clock_.start();
    EXPECT_TRUE(tickers_.front().expired());
    EXPECT_EQ(clock_.elapsedSeconds(), 0);
    pass(2);
    EXPECT_THAT(ticks_, ElementsAre(1, 2, 3, 4, 5, 1, 2));
    std::thread([this] { clock_.stop(); }).join(); // the main thread has not heard of it yet
    pass(1);
    EXPECT_EQ(ticks_.size(), 7U);
    EXPECT_EQ(clock_.elapsedSeconds(), 0);
    clock_.start();
    pass(1);
    EXPECT_EQ(ticks_.back(), 1);
}

TEST_F(TimerManagerTest, ALateStopOfTheLastSessionDoesNotStopTheNext) {
    const TimerManager::Session first = clock_.setOnTokenRefresh([] { FAIL() << "the first session is over"; });
    clock_.start();
    std::thread([&] { clock_.stop(first); }).join();
    bool refreshed = false;
    clock_.setOnTokenRefresh([&] { refreshed = true; });
    clock_.start(); // before the main thread has heard of the stop
    clock_.stop(first);
    clock_.clearOnTokenRefresh(first);
    QCoreApplication::processEvents();
    pass(480);
    EXPECT_TRUE(refreshed);
}

} // namespace
} // namespace parlowen::testing
