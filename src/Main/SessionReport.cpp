#include "SessionReport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <cmath>
#include <utility>

namespace parlowen {

namespace {

using Outcome = AnswerEnd::Outcome;

constexpr Phrase listening{"Listening to %1", "正在收听：%1"};
constexpr Phrase warningOf{"! Warning: %1", "! 警告：%1"};
constexpr Phrase notHeard{"… %1 s not heard …", "… %1 s 未听到 …"};

QString clockText(double seconds) {
    const int whole = static_cast<int>(seconds);
    return QStringLiteral("%1:%2").arg(whole / 60, 2, 10, QLatin1Char('0')).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QString outcomeName(Outcome outcome) {
    switch (outcome) {
    case Outcome::Complete:
        break;
    case Outcome::Failed:
        return QStringLiteral("failed");
    case Outcome::Cancelled:
        return QStringLiteral("cut off");
    case Outcome::Dropped:
        return QStringLiteral("dropped");
    }
    return {};
}

QJsonObject rowNumber(int number) { return {{QStringLiteral("row"), number}}; }

} // namespace

SessionReport::~SessionReport() = default;

TextReport::TextReport(Write write, Clock clock, Language language)
    : write_(std::move(write))
    , clock_(std::move(clock))
    , language_(language) {}

void TextReport::tell(const SessionEvent& event) {
    std::visit(
        SessionHandler{
            [this](const session::Started& started) { line(listening.in(language_, started.sound)); },
            [this](const session::Sentence& told) { sentence(told); },
            [this](const session::Translated& told) {
                line(QStringLiteral("    %1   → %2").arg(told.number).arg(told.row.resultText));
            },
            [this](const session::Missed& missed) {
                line(QStringLiteral("\n[%1] %2").arg(clockText(clock_()), notHeard.in(language_, missed.seconds)));
            },
            [this](const session::AnswerPiece& answer) { grow(answer); },
            [this](const session::AnswerGrounds& answer) { grounds(answer); },
            [this](const session::AnswerEnded& answer) {
                if (const auto rest = begun_.extract(answer.number); rest && !rest.mapped().isEmpty())
                    answerLine(answer.number, rest.mapped());
            },
            [this](const session::Status& told) { status(told); },
            [this](const session::Problem& problem) { line(QStringLiteral("! %1").arg(problem.text)); },
            [this](const session::Warning& warning) { line(warningOf.in(language_, warning.text)); },
            [this](const session::Ended& ended) { line(QStringLiteral("\n%1").arg(ended.summary)); },
            [](const auto&) {},
        },
        event);
}

void TextReport::line(const QString& text) { write_(text.toUtf8() + '\n'); }

void TextReport::sentence(const session::Sentence& sentence) {
    line(QStringLiteral("\n[%1] %2: %3").arg(clockText(clock_())).arg(sentence.number).arg(sentence.row.sourceText));
    if (!sentence.row.resultText.isEmpty())
        line(QStringLiteral("        → %1").arg(sentence.row.resultText));
}

void TextReport::grow(const session::AnswerPiece& answer) {
    QString& begun = begun_[answer.number];
    QStringList lines = answer.piece.split(u'\n');
    lines.front().prepend(std::exchange(begun, {}));
    begun = lines.takeLast();
    for (const QString& whole : std::as_const(lines))
        answerLine(answer.number, whole);
}

void TextReport::grounds(const session::AnswerGrounds& answer) {
    if (const QString rest = std::exchange(begun_[answer.number], {}); !rest.isEmpty())
        answerLine(answer.number, rest);
    for (const QString& ground : answer.lines)
        line(QStringLiteral("    %1 ← %2").arg(answer.number).arg(ground));
}

void TextReport::answerLine(int number, const QString& text) {
    line(QStringLiteral("    %1 | %2").arg(number).arg(text));
}

// A line for each thing that wants doing, and one when all is well again.
void TextReport::status(const session::Status& status) {
    if (!status.plain || saidStatus_)
        line(QStringLiteral("· %1").arg(status.text));
    saidStatus_ = !status.plain;
}

JsonReport::JsonReport(Write write, Clock clock)
    : write_(std::move(write))
    , clock_(std::move(clock)) {}

void JsonReport::tell(const SessionEvent& event) {
    std::visit(
        SessionHandler{
            [this](const session::Started& started) { write("started", started.sound); },
            [this](const session::Partial& partial) { row("partial", partial.number, partial.row); },
            [this](const session::Sentence& sentence) { row("row", sentence.number, sentence.row); },
            [this](const session::Translated& told) {
                write("translated", told.row.resultText, rowNumber(told.number));
            },
            [this](const session::Missed& missed) {
                write("missed", {}, {{QStringLiteral("seconds"), missed.seconds}});
            },
            [this](const session::Question& question) { write("question", question.text, rowNumber(question.number)); },
            [this](const session::AnswerPiece& answer) {
                answers_[answer.number] += answer.piece;
                write("answer", answer.piece, rowNumber(answer.number));
            },
            [this](const session::AnswerGrounds& answer) {
                QJsonObject more = rowNumber(answer.number);
                more.insert(QStringLiteral("lines"), QJsonArray::fromStringList(answer.lines));
                write("grounds", {}, more);
            },
            [this](const session::AnswerEnded& answer) { answerEnded(answer); },
            [this](const session::Status& status) { write("status", status.text); },
            [this](const session::Problem& problem) { write("problem", problem.text); },
            [this](const session::Warning& warning) { write("warning", warning.text); },
            [this](const session::Ended& ended) { write("ended", ended.summary); },
            [](const auto&) {},
        },
        event);
}

void JsonReport::write(const char* kind, const QString& text, QJsonObject more) {
    if (!text.isNull())
        more.insert(QStringLiteral("text"), text);
    more.insert(QStringLiteral("kind"), QLatin1String(kind));
    more.insert(QStringLiteral("time"), std::round(clock_() * 1000) / 1000);
    write_(QJsonDocument(more).toJson(QJsonDocument::Compact) + '\n');
}

void JsonReport::row(const char* kind, int number, const KXTranslationHistoryDetailsModel& row) {
    QJsonObject more = rowNumber(number);
    if (!row.resultText.isEmpty())
        more.insert(QStringLiteral("translation"), row.resultText);
    write(kind, row.sourceText, more);
}

void JsonReport::answerEnded(const session::AnswerEnded& answer) {
    const auto known = answers_.extract(answer.number);
    const QString text = known ? known.mapped() : QStringLiteral("");
    QJsonObject more = rowNumber(answer.number);
    if (answer.end.outcome == Outcome::Complete)
        return write("answered", text, more);
    more.insert(QStringLiteral("outcome"), outcomeName(answer.end.outcome));
    write("unanswered", text, more);
}

} // namespace parlowen
