#include "support/BackendFixture.h"
#include <Foundation/MainQueue.h>
#include <Tools/AzTokenNewManager.h>
#include <Tools/TimerManager.h>
#include <thread>

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;

struct Delegate : AzTokenNewDelegate {
    std::vector<AzTokenModel> fetched;
    std::vector<AzTokenModel> refreshed;
    int failed = 0;

    void tokenDidFetch(const AzTokenModel& token) override { fetched.push_back(token); }
    void tokenDidRefresh(const AzTokenModel& token) override { refreshed.push_back(token); }
    void tokenDidFail() override { ++failed; }
};

struct AzTokenNewManagerTest : BackendFixture {
    AzTokenNewManagerTest() { manager_->setDelegate(&delegate_); }
    void failures(int count) {
        for (int i = 0; i < count; ++i)
            server_.enqueue(i % 2 == 0 ? Reply::json(200, R"({"code":1,"message":""})") : Reply::json(503, "down"));
    }
    void success(const QByteArray& data) { server_.enqueue(Reply::json(200, R"({"code":0,"data":)" + data + "}")); }
    void endNextPause() {
        ASSERT_TRUE(waitFor([this] { return static_cast<bool>(afterPause_); }));
        std::exchange(afterPause_, nullptr)();
    }

    HttpDatas http_{settings_, {}, {}};
    Delegate delegate_;
    std::vector<std::chrono::milliseconds> pauses_;
    std::function<void()> afterPause_;
    std::chrono::seconds now_{100'000};
    std::shared_ptr<AzTokenNewManager> manager_ = std::make_shared<AzTokenNewManager>(
        http_, AzTokenNewManager::Clock{[this] { return now_; },
                                        [this](std::chrono::milliseconds pause, std::function<void()> work) {
                                            pauses_.push_back(pause);
                                            afterPause_ = std::move(work);
                                        }});
};

TEST_F(AzTokenNewManagerTest, TheFirstTokenIsFetchedAndLaterOnesRefresh) {
    success(R"({"token":"t1","area":"eastasia"})");
    success(R"({"token":null})");
    manager_->requestToken();
    ASSERT_TRUE(waitFor([this] { return !delegate_.fetched.empty(); }));
    EXPECT_THAT(delegate_.fetched, ElementsAre(AzTokenModel{"t1", "eastasia"}));
    EXPECT_EQ(lastRequest().method, "GET");
    EXPECT_EQ(lastRequest().target, "/microsoft/get_token");
    EXPECT_THAT(log_.linesWith("AzToken请求[间隔]: 0.0"), SizeIs(1));
    manager_->refreshToken();
    ASSERT_TRUE(waitFor([this] { return !delegate_.refreshed.empty(); }));
    EXPECT_THAT(delegate_.refreshed, ElementsAre(AzTokenModel{"", ""}));
    EXPECT_THAT(delegate_.fetched, SizeIs(1));
}

TEST_F(AzTokenNewManagerTest, ARefreshThatFailsIsRetriedThreeTimesAtOnceAndThenAskedForUntilItComes) {
    failures(6);
    success(R"({"token":"t","area":"a"})");
    manager_->refreshToken();
    ASSERT_TRUE(waitFor([this] { return delegate_.failed == 1; }));
    EXPECT_THAT(server_.requests(), SizeIs(4));
    for (int pause = 0; pause < 3; ++pause)
        endNextPause();
    ASSERT_TRUE(waitFor([this] { return !delegate_.refreshed.empty(); }));
    EXPECT_THAT(delegate_.refreshed, ElementsAre(AzTokenModel{"t", "a"}));
    EXPECT_THAT(server_.requests(), SizeIs(7));
    EXPECT_EQ(delegate_.failed, 3) << "each time it has to go on without";
    EXPECT_THAT(pauses_, ElementsAre(250ms, 500ms, 1000ms));
    EXPECT_THAT(log_.linesWith("请求重试:"), ElementsAre("请求重试: 1", "请求重试: 2", "请求重试: 3"));
    EXPECT_THAT(log_.linesWith("请求终止"), SizeIs(1)) << "the requests after pauses fail in the same cycle";
    EXPECT_THAT(log_.linesWith("获取 token 失败，停止轮训。"), SizeIs(1));
    EXPECT_EQ(manager_->retry, 0);
}

TEST_F(AzTokenNewManagerTest, ARefusedTokenIsReplacedWithPausesThatGrowUntilThereIsPeace) {
    for (int round = 0; round < 8; ++round) {
        success(R"({"token":"t2","area":"a"})");
        now_ += round == 7 ? 61s : 10s;
        manager_->renewToken();
        manager_->renewToken(); // while that is under way
        endNextPause();
        ASSERT_TRUE(waitFor([&] { return delegate_.refreshed.size() == std::size_t(round) + 1; }));
    }
    EXPECT_THAT(pauses_, ElementsAre(250ms, 500ms, 1s, 2s, 4s, 8s, 10s, 250ms));
    EXPECT_THAT(server_.requests(), SizeIs(8));
    EXPECT_THAT(delegate_.fetched, IsEmpty());
    manager_->renewToken();
    manager_->setDelegate(nullptr);
    endNextPause();
    EXPECT_THAT(log_.linesWith("AzToken请求[开始]"), SizeIs(8)) << "nobody wants it any more";
}

/// A clock whose seconds pass when the test says so.
struct TimerManagerTest : ::testing::Test {
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
    clock_.clearOnTick(first);
    QCoreApplication::processEvents();
    pass(480);
    EXPECT_TRUE(refreshed);
    EXPECT_EQ(ticks_.size(), 480U);
}

} // namespace
} // namespace parlowen::testing
