#include <Tools/AnswerStreamParser.h>
#include <gmock/gmock.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <iterator>

namespace parlowen {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Pieces = std::vector<QString>;

QByteArray event(const QString& content) {
    const QJsonObject inner{{"content", content}};
    return "data: " + QJsonDocument(QJsonObject{{"code", 0}, {"data", inner}}).toJson(QJsonDocument::Compact) + "\n";
}

/// The pieces that each single event line gives to a parser of its own.
Pieces piecesOf(const QByteArray& line) { return AnswerStreamParser().feed(line + '\n'); }

void append(Pieces& pieces, const Pieces& more) { pieces.insert(pieces.end(), more.begin(), more.end()); }

TEST(AnswerStreamParserTest, WhereAStreamIsCutMakesNoDifference) {
    const QByteArray stream = event("第一") + ": keep-alive\n\nevent: message\r\n" + event("é😀") +
                              "data: {\"data\":{\"content\":\n" // cut short
                              "data: {\"data\":{\"content\":\"\xff\"}}\n"
                              "data:{\"data\":{\"content\":\"no blank\"}}\n" +
                              event("after\tthe broken ones") + "data: data: " + event("twice").mid(6) +
                              event("with\r").replace("\n", "\r\n") + event("x").chopped(1);
    const Pieces expected = {"第一", "é😀", "after\tthe broken ones", "twice", "with\r"};

    for (qsizetype cut = 0; cut <= stream.size(); ++cut) {
        AnswerStreamParser parser;
        Pieces pieces = parser.feed(stream.first(cut));
        append(pieces, parser.feed(stream.sliced(cut)));
        ASSERT_EQ(pieces, expected) << cut;
        // The line feed that was missing at the end.
        ASSERT_EQ(parser.feed("\n"), Pieces{"x"}) << cut;
    }
}

TEST(AnswerStreamParserTest, OnlyATextAtDataContentCounts) {
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"a","content_type":"b"},"content":"c"})"), Pieces{"a"});
    EXPECT_EQ(piecesOf(R"(data: {"x":{"content":"b"},"data":{"y":{"content":"c"},"content":"a","z":["d"]},"w":["e"]})"),
              Pieces{"a"});
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"first","content":"last"}})"), Pieces{"last"});
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"first"},"data":{"content":"last"}})"), Pieces{"last"});
    EXPECT_EQ(piecesOf("data:  \t{\"data\":{\"content\":\"\\u4e2d\\ud83d\\ude00\"}} "), Pieces{"中😀"});
    // The prefix is removed inside the line too.
    EXPECT_EQ(piecesOf(R"(data: {"data":{"content":"the data: here"}})"), Pieces{"the here"});
    EXPECT_EQ(piecesOf(R"(data: data: data: {"data":{"content":"a"}}data: )"), Pieces{"a"});

    for (const char* line :
         {"data: ", "data: null", R"(data: [{"data":{"content":"a"}}])", R"(data: {"data":"a"})",
          R"(data: {"data":["content","a"]})", R"(data: {"data":{"content":null}})", R"(data: {"data":{"content":5}})",
          R"(data: {"data":{"content":["a"]}})", R"(data: {"data":{"content":{"content":"a"}}})",
          R"(data: {"data":{"x":{"content":"a"}}})", R"(data: {"data":{"content":"a"},"data":5})",
          R"(data: {"data":{"content":"a","content":5}})", R"(data: {"data":{"content":"a"}} x)",
          R"(data: {"data":{"content":"a"})", R"(data: {"data":{"content":"\ud800"}})", R"({"data":{"content":"a"}})",
          R"( data: {"data":{"content":"a"}})"})
        EXPECT_THAT(piecesOf(line), IsEmpty()) << line;
}

TEST(AnswerStreamParserTest, TheEndMarkHoldsBackTheRestOfItsDelivery) {
    AnswerStreamParser parser;
    EXPECT_THAT(parser.feed(event("a") + event("@@") + event("b") + event("@@") + event("c") + event("d").first(9)),
                ElementsAre("a"));
    EXPECT_THAT(parser.feed(event("d").sliced(9)), ElementsAre("b"));
    EXPECT_THAT(parser.feed(event(" @@")), ElementsAre("c", "d", " @@"));
    EXPECT_THAT(parser.feed(event("@@")), IsEmpty());
    EXPECT_THAT(parser.feed(event("e")), ElementsAre("e"));
}

} // namespace
} // namespace parlowen
