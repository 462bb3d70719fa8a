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
    static void tell(SessionReport& report, const std::vector<SessionEvent>& events) {
        for (const SessionEvent& event : events)
            report.tell(event);
    }
    static AnswerEnd failed() { return {AnswerEnd::Outcome::Failed, AnswerEnd::Cause::BrokenOff, {}}; }
    double seconds = 0;
    std::vector<std::string> lines;
};

TEST_F(SessionReportTest, TextWritesTheLinesOfAnswersAsSoonAsTheyAreWholeAndKeepsThemApart) {
    TextReport report(write(), clock());
    seconds = 65.4;
    KXTranslationHistoryDetailsModel row;
    row.sourceText = "Why us?";
    row.resultText = "¿Por qué nosotros?";
    using namespace session;
    tell(report, {Sentence{1, row}, Question{1, "Why us?"}, AnswerPiece{1, "First li"}});
    EXPECT_THAT(lines, ElementsAre("\n[01:05] 1: Why us?\n", "        → ¿Por qué nosotros?\n"));
    lines.clear();
    tell(report, {AnswerPiece{1, "ne\nSecond\nThi"}, AnswerPiece{2, "two\n"}, AnswerPiece{1, "rd"}});
    EXPECT_THAT(lines, ElementsAre("    1 | First line\n", "    1 | Second\n", "    2 | two\n"));
    lines.clear();
    tell(report, {AnswerEnded{2, {}}, AnswerEnded{1, failed()}});
    EXPECT_THAT(lines, ElementsAre("    1 | Third\n"));
}

TEST_F(SessionReportTest, JsonPiecesJoinToTheAnswerAndOneThatFailedIsNotAnswered) {
    JsonReport report(write(), clock());
    seconds = 1.23456;
    using namespace session;
    tell(report, {Question{3, "q \"quoted\"\n"}, AnswerPiece{3, "你"}, AnswerPiece{3, "好"}, AnswerEnded{3, {}},
                  Question{4, ""}, AnswerEnded{4, failed()}});
    std::vector<std::string> told;
    for (const std::string& line : lines) {
        EXPECT_EQ(line.find('\n'), line.size() - 1);
        const QJsonObject event = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
        EXPECT_DOUBLE_EQ(event["time"].toDouble(), 1.235);
        told.push_back(QString("%1 %2 %3%4")
                           .arg(event["kind"].toString(), QString::number(event["row"].toInt()),
                                event["text"].toString(), event["outcome"].toString())
                           .toStdString());
    }
    EXPECT_THAT(told, ElementsAre("question 3 q \"quoted\"\n", "answer 3 你", "answer 3 好", "answered 3 你好",
                                  "question 4 ", "unanswered 4 failed"));
}

TEST_F(SessionReportTest, WhatWasNotHeardIsToldInTheLanguageOfTheTerminal) {
    seconds = 61;
    TextReport(write(), clock(), Language::English).tell(session::Missed{12});
    TextReport(write(), clock(), Language::Chinese).tell(session::Missed{12});
    JsonReport(write(), clock()).tell(session::Missed{12});
    EXPECT_THAT(lines, ElementsAre("\n[01:01] … 12 s not heard …\n", "\n[01:01] … 12 s 未听到 …\n",
                                   "{\"kind\":\"missed\",\"seconds\":12,\"time\":61}\n"));
}

} // namespace
} // namespace parlowen
