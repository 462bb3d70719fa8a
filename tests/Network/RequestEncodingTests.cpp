#include <Network/RequestEncoding.h>
#include <gtest/gtest.h>

#include <QJsonArray>

namespace parlowen {
namespace {

TEST(RequestEncodingTest, ParametersBecomeASortedQuery) {
    EXPECT_EQ(encodedQuery({}), "");
    EXPECT_EQ(encodedQuery({{"b", 1}, {"a", true}, {"c", false}}), "a=1&b=1&c=0");
    EXPECT_EQ(encodedQuery({{"id", qint64(9007199254740993)}, {"half", 0.5}}), "half=0.5&id=9007199254740993");
    EXPECT_EQ(encodedQuery({{"list", QJsonArray{2, "x", true}}}), "list%5B%5D=2&list%5B%5D=x&list%5B%5D=1");
    EXPECT_EQ(encodedQuery({{"中", "a b&c=d+e"}}), "%E4%B8%AD=a%20b%26c%3Dd%2Be");
    EXPECT_EQ(encodedQuery({{"o", QJsonObject{{"k", "v"}}}}), "o%5Bk%5D=v");
}

TEST(RequestEncodingTest, APathFollowsTheBaseAndAWholeUrlStandsAlone) {
    const auto text = [](const QString& base, const QString& path, const QByteArray& query) {
        const auto url = requestUrl(base, path, query);
        return url ? url->toString(QUrl::FullyEncoded) : QString("none");
    };
    EXPECT_EQ(text("https://a.example/api/v1", "/user/info", ""), "https://a.example/api/v1/user/info");
    EXPECT_EQ(text("https://a.example", "http://b.example/x?y=1", "a=1"), "http://b.example/x?y=1&a=1");
    EXPECT_EQ(text("https://a.example", "/x", "list%5B%5D=a%26b%2Bc"), "https://a.example/x?list%5B%5D=a%26b%2Bc");
    EXPECT_EQ(text("https://a.example", "/中 文", ""), "https://a.example/%E4%B8%AD%20%E6%96%87");
    for (const char* base : {"", "no url", "ftp://a.example", "https://", "https://a b.example", "https://a:port"})
        EXPECT_EQ(text(base, "/x", ""), "none") << base;
}

} // namespace
} // namespace parlowen
