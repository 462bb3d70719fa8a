#include <Foundation/Bundle.h>
#include <Network/ApiBase.h>
#include <Network/Transport.h>
#include <gtest/gtest.h>

#include <QJsonArray>
#include <cstdlib>

namespace parlowen {
namespace {

TEST(ApiBaseDeathTest, TheEnvironmentAtStartStandsInForTheBuiltInBase) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that is started anew: the environment is read once
    for (const auto& [environment, expected] :
         {std::pair(" https://other.example/api/v1/ ", "https://other.example/api/v1"), {"", ""}}) {
        const auto exit = [environment = environment, expected = QString(expected)] {
            qputenv("PARLOWEN_API_BASE_URL", environment);
            const QString first = ApiBase::builtIn();
            qputenv("PARLOWEN_API_BASE_URL", "https://later.example");
            const bool right = first == (expected.isEmpty() ? Bundle::builtInApiBaseUrl() : expected);
            std::exit(right && ApiBase::builtIn() == first ? 0 : 1);
        };
        EXPECT_EXIT(exit(), ::testing::ExitedWithCode(0), "");
    }
}

TEST(RequestEncodingTest, ParametersBecomeASortedQuery) {
    EXPECT_EQ(encodedQuery({}), "");
    EXPECT_EQ(encodedQuery({{"half", 0.5}, {"c", false}}), "c=0&half=0.5");
    EXPECT_EQ(encodedQuery({{"list", QJsonArray{2, "x", true}}}), "list%5B%5D=2&list%5B%5D=x&list%5B%5D=1");
    EXPECT_EQ(encodedQuery({{"中", "a b&c=d+e"}}), "%E4%B8%AD=a%20b%26c%3Dd%2Be");
    EXPECT_EQ(encodedQuery({{"o", QJsonObject{{"k", "v"}}}}), "o%5Bk%5D=v");
}

TEST(RequestEncodingTest, APathFollowsTheBaseAndAWholeUrlStandsAlone) {
    const auto text = [](const QString& base, const QString& path, const QByteArray& query) {
        const auto url = requestUrl(base, path, query);
        return url ? url->toString(QUrl::FullyEncoded) : QString("none");
    };
    EXPECT_EQ(text("https://a.example", "http://b.example/x?y=1", "a=1"), "http://b.example/x?y=1&a=1");
    EXPECT_EQ(text("https://a.example/v1", "/x", "list%5B%5D=a%26b%2Bc"),
              "https://a.example/v1/x?list%5B%5D=a%26b%2Bc");
    EXPECT_EQ(text("https://a.example", "/中 文", ""), "https://a.example/%E4%B8%AD%20%E6%96%87");
    for (const char* base : {"", "no url", "ftp://a.example", "https://", "https://a b.example", "https://a:port"})
        EXPECT_EQ(text(base, "/x", ""), "none") << base;
}

TEST(TransportErrorTest, EachKindOfFailureHasItsWords) {
    using Reply = QNetworkReply;
    const auto text = [](Reply::NetworkError error, bool online) { return transportAlertText(error, "why", online); };
    EXPECT_EQ(text(Reply::ConnectionRefusedError, false), "无法连接到服务器，请稍后再试");
    EXPECT_EQ(text(Reply::UnknownNetworkError, true), "无法连接到服务器，请稍后再试");
    EXPECT_EQ(text(Reply::UnknownNetworkError, false), "网络未连接，请检查你的网络设置");
    EXPECT_EQ(text(Reply::HostNotFoundError, false), "网络未连接，请检查你的网络设置");
    EXPECT_EQ(text(Reply::HostNotFoundError, true), "请求失败：why");
}

TEST(TransportErrorTest, ADefaultRouteOfAnyKindIsOnlineAndABridgeOfContainersIsNot) {
    // As the kernel of a machine with a running container and no network says.
    const QByteArray bridge = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
                              "docker0\t000011AC\t00000000\t0001\t0\t0\t0\t0000FFFF\t0\t0\t0\n";
    const QByteArray zeros(32, '0'), local = "fe80" + QByteArray(28, '0');
    const QByteArray noIpv6 = local + " 40 " + zeros + " 00 " + zeros +
                              " 00000100 00000001 00000000 00000001 docker0\n" + zeros + " 00 " + zeros + " 00 " +
                              zeros + " ffffffff 00000001 00000000 00200200       lo\n";
    EXPECT_FALSE(hasRoute(bridge, noIpv6));
    EXPECT_FALSE(hasRoute({}, {}));
    EXPECT_FALSE(hasRoute("*\t00000000\t00000000\t0201\t0\t0\t0\t00000000\t0\t0\t0\n", {})) << "rejected";
    EXPECT_TRUE(hasRoute(bridge + "wlan0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n", {}));
    EXPECT_TRUE(hasRoute(bridge + "ppp0\t00000000\t00000000\t0001\t0\t0\t0\t00000000\t0\t0\t0\n", {}));
    EXPECT_FALSE(hasRoute("vpn0\t00000000\t00000000\t0001\t0\t0\t0\t00000080\t0\t0\t0\n", {})) << "half the world";
    EXPECT_TRUE(hasRoute({}, noIpv6 + zeros + " 00 " + zeros + " 00 " + local +
                                 " 00000400 00000001 00000000 00000003    wlan0\n"));
}

} // namespace
} // namespace parlowen
