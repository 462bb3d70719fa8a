#include <Network/JSON.h>
#include <gtest/gtest.h>

#include <limits>

namespace parlowen {
namespace {

JSON read(const QByteArray& text) {
    bool ok = false;
    const JSON json = JSON::parse(text, &ok);
    EXPECT_TRUE(ok) << text.toStdString();
    return json;
}

TEST(JSONTest, MissingAndIllTypedValuesReadAsNothing) {
    const JSON json = read(R"({"null":null,"list":[1],"object":{}})");
    for (const JSON& nothing : {json["gone"], json["null"], json["gone"]["deeper"][3], json["list"]["key"],
                                json["list"][1], json["list"][-1], json["object"][0], JSON()}) {
        EXPECT_TRUE(nothing.isNull());
        EXPECT_EQ(nothing.stringValue(), "");
        EXPECT_EQ(nothing.intValue(), 0);
        EXPECT_TRUE(nothing.arrayValue().empty());
    }
    EXPECT_TRUE(json["null"].exists());
    EXPECT_FALSE(json["gone"].exists());
    EXPECT_EQ(json["list"].stringValue(), "");
    EXPECT_EQ(json["object"].intValue(), 0);
}

TEST(JSONTest, TextsAndNumbersStandInForEachOther) {
    struct Case {
        const char* text;
        const char* string;
        qint64 number;
    };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        EXPECT_EQ(read(c.text).stringValue(), c.string) << c.text;
        EXPECT_EQ(read(c.text).intValue(), c.number) << c.text;
    }
}

TEST(JSONTest, OnlyOneWholeJsonTextIsRead) {
    const QByteArray deep = QByteArray(100'000, '[') + QByteArray(100'000, ']');
    for (const QByteArray& text : {QByteArray(), QByteArray("{\"a\":1"), QByteArray("{}{}"), QByteArray("\"\xff\""),
                                   QByteArray("<html>"), deep}) {
        bool ok = true;
        EXPECT_FALSE(JSON::parse(text, &ok).exists()) << text.left(20).toStdString();
        EXPECT_FALSE(ok) << text.left(20).toStdString();
    }
    EXPECT_TRUE(read(QByteArray(500, '[') + QByteArray(500, ']')).isArray());
    EXPECT_TRUE(read("null").exists());
}

} // namespace
} // namespace parlowen
