#include <Network/JSON.h>
#include <gtest/gtest.h>

#include <limits>

namespace parlowen {
namespace {

TEST(JSONTest, MissingAndIllTypedValuesReadAsNothing) {
    const JSON json = JSON::parse(R"({"null":null,"list":[1],"object":{}})");
    for (const JSON& nothing : {json["gone"], json["null"], json["gone"]["deeper"][3], json["list"]["key"],
                                json["list"][1], json["list"][-1], json["object"][0], JSON()}) {
        EXPECT_TRUE(nothing.isNull() && nothing.arrayValue().empty());
        EXPECT_EQ(nothing.stringValue(), "");
        EXPECT_EQ(nothing.intValue(), 0);
    }
    EXPECT_TRUE(json["null"].exists() && !json["gone"].exists());
    EXPECT_EQ(json["list"].stringValue(), "");
    EXPECT_EQ(json["object"].intValue(), 0);
}

TEST(JSONTest, TextsAndNumbersStandInForEachOther) {
    const std::tuple<const char*, const char*, qint64> cases[] = {
        {"\"5\"", "5", 5},
        {"\" -12 \"", " -12 ", -12},
        {"\"3.9\"", "3.9", 3},
        {"\"many\"", "many", 0},
        {"2.0", "2", 2},
        {"2.75", "2.75", 2},
        {"true", "true", 1},
        {"9007199254740993", "9007199254740993", 9007199254740993},
        {"1e300", "1e+300", std::numeric_limits<qint64>::max()},
    };
    for (const auto& [text, string, number] : cases) {
        EXPECT_EQ(JSON::parse(text).stringValue(), string) << text;
        EXPECT_EQ(JSON::parse(text).intValue(), number) << text;
    }
}

TEST(JSONTest, OnlyOneWholeJsonTextIsRead) {
    const auto nested = [](int depth) { return QByteArray(depth, '[') + QByteArray(depth, ']'); };
    bool ok = true;
    for (const QByteArray& text : {QByteArray(), QByteArray("{\"a\":1"), QByteArray("{}{}"), QByteArray("\"\xff\""),
                                   QByteArray("<html>"), nested(100'000)})
        EXPECT_TRUE(!JSON::parse(text, &ok).exists() && !ok) << text.left(20).toStdString();
    EXPECT_TRUE(JSON::parse(nested(500), &ok).isArray() && ok);
    EXPECT_TRUE(JSON::parse("null", &ok).exists() && ok);
}

} // namespace
} // namespace parlowen
