#include "SessionReport.h"

#include <QJsonDocument>
#include <cmath>
#include <utility>

namespace parlowen {

namespace {

constexpr Phrase notHeard{"… %1 s not heard …", "… %1 s 未听到 …"};

QString clockText(double seconds) {
    const int whole = static_cast<int>(seconds);
    return QStringLiteral("%1:%2").arg(whole / 60, 2, 10, QLatin1Char('0')).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

SessionReport::~SessionReport() = default;

TextReport::TextReport(Write write, Clock clock, Language language)
    : write_(std::move(write))
    , clock_(std::move(clock))
    , language_(language) {}

void TextReport::line(const QString& text) { write_(text.toUtf8() + '\n'); }

void TextReport::started(const QString& file) { line(QStringLiteral("Listening to %1").arg(file)); }

void TextReport::partial(int, const QString&, const QString&) {}

void TextReport::row(int row, const QString& text, const QString& translation) {
    line(QStringLiteral("\n[%1] %2: %3").arg(clockText(clock_())).arg(row).arg(text));
    if (!translation.isEmpty())
        line(QStringLiteral("        → %1").arg(translation));
}

void TextReport::missed(int seconds) {
    line(QStringLiteral("\n[%1] %2").arg(clockText(clock_()), notHeard.in(language_, seconds)));
}

void TextReport::asked(int answer, const QString&) { answers_[answer] = {}; }

void TextReport::answerGrew(int answer, const QString& text) {
    answers_[answer].text = text;
    writeLines(answer, false);
}

void TextReport::answered(int answer) { writeLines(answer, true); }

void TextReport::writeLines(int answer, bool all) {
    Answer& grown = answers_[answer];
    while (grown.written < grown.text.size()) {
        qsizetype end = grown.text.indexOf(u'\n', grown.written);
        if (end < 0 && !all)
            return;
        if (end < 0)
            end = grown.text.size();
        line(QStringLiteral("    %1 | %2").arg(answer).arg(grown.text.mid(grown.written, end - grown.written)));
        grown.written = end + 1;
    }
}

// A line for each thing that wants doing, and one when all is well again.
void TextReport::status(const QString& text, bool plain) {
    if (!plain || saidStatus_)
        line(QStringLiteral("· %1").arg(text));
    saidStatus_ = !plain;
}

void TextReport::problem(const QString& text) { line(QStringLiteral("! %1").arg(text)); }

void TextReport::warning(const QString& text) { line(QStringLiteral("! Warning: %1").arg(text)); }

void TextReport::ended(const QString& summary) { line(QStringLiteral("\n%1").arg(summary)); }

JsonReport::JsonReport(Write write, Clock clock)
    : write_(std::move(write))
    , clock_(std::move(clock)) {}

void JsonReport::event(const char* kind, const QString& text, int row, const QString& translation) {
    QJsonObject object{{QStringLiteral("text"), text}};
    if (row > 0)
        object.insert(QStringLiteral("row"), row);
    if (!translation.isEmpty())
        object.insert(QStringLiteral("translation"), translation);
    write(kind, std::move(object));
}

void JsonReport::write(const char* kind, QJsonObject object) {
    object.insert(QStringLiteral("kind"), QLatin1String(kind));
    object.insert(QStringLiteral("time"), std::round(clock_() * 1000) / 1000);
    write_(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}

void JsonReport::started(const QString& file) { event("started", file); }

void JsonReport::partial(int row, const QString& text, const QString& translation) {
    event("partial", text, row, translation);
}

void JsonReport::row(int row, const QString& text, const QString& translation) { event("row", text, row, translation); }

void JsonReport::missed(int seconds) { write("missed", {{QStringLiteral("seconds"), seconds}}); }

void JsonReport::asked(int answer, const QString& question) {
    answers_[answer].clear();
    event("question", question, answer);
}

void JsonReport::answerGrew(int answer, const QString& text) {
    QString& known = answers_[answer];
    event("answer", text.mid(known.size()), answer);
    known = text;
}

void JsonReport::answered(int answer) { event("answered", answers_[answer], answer); }

void JsonReport::status(const QString& text, bool /*plain*/) { event("status", text); }

void JsonReport::problem(const QString& text) { event("problem", text); }

void JsonReport::warning(const QString& text) { event("warning", text); }

void JsonReport::ended(const QString& summary) { event("ended", summary); }

} // namespace parlowen
