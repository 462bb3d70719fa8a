#include <Tools/AzTokenNewManager.h>

#include "support/BackendFixture.h"

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Delegate : AzTokenNewDelegate {
    std::vector<AzTokenModel> fetched;
    std::vector<AzTokenModel> refreshed;
    int failed = 0;

    void tokenDidFetch(const AzTokenModel& token) override { fetched.push_back(token); }
    void tokenDidRefresh(const AzTokenModel& token) override { refreshed.push_back(token); }
    void tokenDidFail() override { ++failed; }
};

class AzTokenNewManagerTest : public BackendFixture {
protected:
    AzTokenNewManagerTest() { manager_->setDelegate(&delegate_); }

    void failures(int count) {
        for (int i = 0; i < count; ++i)
            server_.enqueue(i % 2 == 0 ? Reply::json(200, R"({"code":1,"message":""})") : Reply::json(503, "down"));
    }
    void success(const QByteArray& data) { server_.enqueue(Reply::json(200, R"({"code":0,"data":)" + data + "}")); }

    /// Waits for the pause that the manager begins, and ends it.
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
    EXPECT_THAT(log_.linesWith("请求终止"), SizeIs(3));
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

} // namespace
} // namespace parlowen::testing
