#include <Tools/AzTokenNewManager.h>

#include "support/BackendFixture.h"

namespace parlowen::testing {
namespace {

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

    HttpDatas http_{settings_, {}, {}};
    Delegate delegate_;
    std::shared_ptr<AzTokenNewManager> manager_ = std::make_shared<AzTokenNewManager>(http_);
};

TEST_F(AzTokenNewManagerTest, TheFirstTokenIsFetchedAndLaterOnesRefresh) {
    success(R"({"token":"t1","area":"eastasia"})");
    success(R"({"token":null})");
    manager_->requestToken();
    ASSERT_TRUE(waitFor([this] { return !delegate_.fetched.empty(); }));
    EXPECT_THAT(delegate_.fetched, ElementsAre(AzTokenModel{"t1", "eastasia"}));
    ASSERT_THAT(server_.requests(), SizeIs(1));
    EXPECT_EQ(server_.requests().front().method, "GET");
    EXPECT_EQ(server_.requests().front().target, "/microsoft/get_token");

    manager_->refreshToken();
    ASSERT_TRUE(waitFor([this] { return !delegate_.refreshed.empty(); }));
    EXPECT_THAT(delegate_.refreshed, ElementsAre(AzTokenModel{"", ""}));
    EXPECT_THAT(delegate_.fetched, SizeIs(1));
}

TEST_F(AzTokenNewManagerTest, ThreeFailuresAreRetriedAtOnceAndThenItGoesOnAskingWithPauses) {
    failures(7);
    success(R"({"token":"t","area":"a"})");
    manager_->firstPause = std::chrono::milliseconds(20);
    manager_->requestToken();
    ASSERT_TRUE(waitForRequests(4));
    EXPECT_TRUE(holdsFor([this] { return server_.requests().size() == 4; }, 15));
    ASSERT_TRUE(waitFor([this] { return !delegate_.fetched.empty(); }));
    EXPECT_THAT(delegate_.fetched, ElementsAre(AzTokenModel{"t", "a"})) << "still the first token";
    EXPECT_THAT(server_.requests(), SizeIs(8));
    EXPECT_EQ(delegate_.failed, 4);
    EXPECT_THAT(log_.linesWith("请求重试:"), ElementsAre("请求重试: 1", "请求重试: 2", "请求重试: 3"));
    EXPECT_THAT(log_.linesWith("请求终止"), SizeIs(4));
    EXPECT_THAT(log_.linesWith("获取 token 失败，停止轮训。"), SizeIs(4));
    EXPECT_EQ(manager_->retry, 0);
}

TEST_F(AzTokenNewManagerTest, ARenewedTokenIsAskedForOnceAPauseAndRefreshes) {
    success(R"({"token":"t2","area":"a"})");
    manager_->firstPause = std::chrono::milliseconds(10);
    manager_->renewToken();
    manager_->renewToken();
    ASSERT_TRUE(waitFor([this] { return !delegate_.refreshed.empty(); }));
    EXPECT_TRUE(holdsFor([this] { return server_.requests().size() == 1; }, 60));
    EXPECT_THAT(delegate_.fetched, IsEmpty());
    manager_->renewToken();
    manager_->setDelegate(nullptr);
    EXPECT_TRUE(holdsFor([this] { return server_.requests().size() == 1; }, 60)) << "nobody wants it any more";
}

} // namespace
} // namespace parlowen::testing
