#include <Network/TransportError.h>
#include <gtest/gtest.h>

namespace parlowen {
namespace {

TEST(TransportErrorTest, EachKindOfFailureHasItsWords) {
    using Reply = QNetworkReply;
    const auto text = [](Reply::NetworkError error, bool online) { return transportAlertText(error, "why", online); };
    EXPECT_EQ(text(Reply::ConnectionRefusedError, true), "无法连接到服务器，请稍后再试");
    EXPECT_EQ(text(Reply::ConnectionRefusedError, false), "无法连接到服务器，请稍后再试");
    EXPECT_EQ(text(Reply::UnknownNetworkError, true), "无法连接到服务器，请稍后再试");
    EXPECT_EQ(text(Reply::UnknownNetworkError, false), "网络未连接，请检查你的网络设置");
    EXPECT_EQ(text(Reply::TemporaryNetworkFailureError, true), "网络未连接，请检查你的网络设置");
    EXPECT_EQ(text(Reply::HostNotFoundError, false), "网络未连接，请检查你的网络设置");
    EXPECT_EQ(text(Reply::HostNotFoundError, true), "请求失败：why");
    EXPECT_EQ(text(Reply::TimeoutError, true), "请求超时，请重试");
    EXPECT_EQ(text(Reply::OperationCanceledError, true), "请求超时，请重试");
    EXPECT_EQ(text(Reply::SslHandshakeFailedError, true), "请求失败：why");
    EXPECT_EQ(text(Reply::RemoteHostClosedError, true), "请求失败：why");
}

} // namespace
} // namespace parlowen
