#include <AVFoundation/FileCapture.h>
#include <Tools/AzTokenNewManager.h>
#include <Tools/SpeechRecognitionTool.h>

#include "support/BackendFixture.h"

namespace parlowen::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Delegate : AzTokenNewDelegate {
    std::vector<AzTokenModel> fetched;
    std::vector<AzTokenModel> refreshed;
    std::shared_ptr<SpeechRecognitionTool> tool;

    void tokenDidFetch(const AzTokenModel& token) override { fetched.push_back(token); }
    void tokenDidRefresh(const AzTokenModel& token) override { refreshed.push_back(token); }
    std::shared_ptr<SpeechRecognitionTool> speechTool() override { return tool; }
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

TEST_F(AzTokenNewManagerTest, ThreeFailuresAreRetriedAndAFourthStopsRecognitionUntilTheNextRefresh) {
    delegate_.tool = SpeechRecognitionTool::make("t", "eastasia", [] {
        return std::make_unique<FileCapture>(FileCapture::Options{"/no such file", 1.0, nullptr});
    });
    delegate_.tool->startRecognition("en-US", nullptr, nullptr, nullptr);
    ASSERT_TRUE(delegate_.tool->isRecognizing());
    failures(4);
    manager_->requestToken();
    ASSERT_TRUE(waitFor([&] { return log_.lines().contains("获取 token 失败，停止轮训。"); }));
    EXPECT_THAT(log_.linesWith("请求重试:"), ElementsAre("请求重试: 1", "请求重试: 2", "请求重试: 3"));
    EXPECT_TRUE(log_.lines().contains("请求终止"));
    EXPECT_FALSE(delegate_.tool->isRecognizing());
    EXPECT_THAT(server_.requests(), SizeIs(4));

    success(R"({"token":"t","area":"a"})");
    manager_->refreshToken();
    ASSERT_TRUE(waitFor([this] { return !delegate_.refreshed.empty(); }));
    EXPECT_THAT(delegate_.refreshed, ElementsAre(AzTokenModel{"t", "a"}));
    EXPECT_THAT(server_.requests(), SizeIs(5));
    EXPECT_EQ(manager_->retry, 0);
    EXPECT_THAT(delegate_.fetched, IsEmpty());
}

} // namespace
} // namespace parlowen::testing
