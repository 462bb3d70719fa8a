#include <Main/SessionReport.h>
#include <gmock/gmock.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <vector>

namespace parlowen {
namespace {

using ::testing::ElementsAre;

class SessionReportTest : public ::testing::Test {
protected:
    SessionReport::Write write() {
        return [this](const QByteArray& line) { lines.push_back(line.toStdString()); };
    }
    SessionReport::Clock clock() {
        return [this] { return seconds; };
    }
    double seconds = 0;
    std::vector<std::string> lines;
};

TEST_F(SessionReportTest, TextWritesAnAnswersLinesAsSoonAsTheyAreWhole) {
    TextReport report(write(), clock());
    seconds = 65.4;
    report.row(1, "Why us?", "¿Por qué nosotros?");
    report.asked(1, "Why us?");
    report.answerGrew(1, "First li");
    EXPECT_THAT(lines, ElementsAre("\n[01:05] 1: Why us?\n", "        → ¿Por qué nosotros?\n"));
    report.answerGrew(1, "First line\nSecond\nThi");
    EXPECT_THAT(lines, ElementsAre(::testing::_, ::testing::_, "    1 | First line\n", "    1 | Second\n"));
    report.answerGrew(1, "First line\nSecond\nThird");
    lines.clear();
    report.answered(1);
    EXPECT_THAT(lines, ElementsAre("    1 | Third\n"));
}

TEST_F(SessionReportTest, TextKeepsAnswersThatGrowTogetherApart) {
    TextReport report(write(), clock());
    report.asked(1, "a");
    report.asked(2, "b");
    report.answerGrew(1, "one");
    report.answerGrew(2, "two\n");
    report.answerGrew(1, "one\n");
    report.answered(2);
    report.answered(1);
    EXPECT_THAT(lines, ElementsAre("    2 | two\n", "    1 | one\n"));
}

TEST_F(SessionReportTest, JsonPiecesJoinToTheAnswer) {
    JsonReport report(write(), clock());
    seconds = 1.23456;
    report.asked(3, "q \"quoted\"\n");
    report.answerGrew(3, "你");
    report.answerGrew(3, "你好");
    report.answered(3);
    QString pieces;
    std::vector<std::string> kinds;
    for (const std::string& line : lines) {
        EXPECT_EQ(line.find('\n'), line.size() - 1);
        const QJsonObject event = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
        kinds.push_back(event["kind"].toString().toStdString());
        EXPECT_EQ(event["row"].toInt(), 3);
        EXPECT_DOUBLE_EQ(event["time"].toDouble(), 1.235);
        if (event["kind"] == "answer")
            pieces += event["text"].toString();
        else
            EXPECT_EQ(event["text"].toString(), event["kind"] == "question" ? "q \"quoted\"\n" : "你好");
    }
    EXPECT_THAT(kinds, ElementsAre("question", "answer", "answer", "answered"));
    EXPECT_EQ(pieces, "你好");
}

TEST_F(SessionReportTest, WhatWasNotHeardIsToldInTheLanguageOfTheTerminal) {
    seconds = 61;
    TextReport(write(), clock(), Language::English).missed(12);
    TextReport(write(), clock(), Language::Chinese).missed(12);
    JsonReport(write(), clock()).missed(12);
    EXPECT_THAT(lines, ElementsAre("\n[01:01] … 12 s not heard …\n", "\n[01:01] … 12 s 未听到 …\n",
                                   "{\"kind\":\"missed\",\"seconds\":12,\"time\":61}\n"));
}

} // namespace
} // namespace parlowen
