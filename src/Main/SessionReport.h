#pragma once

#include <Foundation/Phrase.h>
#include <Page/AIInterviewPages/SessionEvent.h>

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <functional>
#include <map>

namespace parlowen {

/// Writes down what happens in a session while it runs. Main thread only.
class SessionReport {
public:
    /// Takes finished lines, UTF-8, the line feed included.
    using Write = std::function<void(const QByteArray&)>;
    /// Seconds since recognition started.
    using Clock = std::function<double()>;

    virtual ~SessionReport();
    virtual void tell(const SessionEvent& event) = 0;
};

/// For people: a line for each row, and each line of an answer as soon as it is whole.
class TextReport : public SessionReport {
public:
    TextReport(Write write, Clock clock, Language language = terminalLanguage());
    void tell(const SessionEvent& event) override;

private:
    void line(const QString& text);
    void sentence(const session::Sentence& sentence);
    void grow(const session::AnswerPiece& answer);
    void grounds(const session::AnswerGrounds& answer);
    void status(const session::Status& status);
    void answerLine(int number, const QString& text);

    Write write_;
    Clock clock_;
    Language language_;
    std::map<int, QString> begun_; ///< of the answers that grow, the line that is not whole
    bool saidStatus_ = false;      ///< the last status had something to do about it
};

/// For programs: one JSON object a line. Every object has `kind` and `time`; most have `text` and `row`, translated
/// rows `translation`, and `missed` has `seconds`. An `answer` holds the next piece of the answer of that row number;
/// its end is `answered` with the whole of it, or `unanswered` with what came of it and an `outcome`: `failed`, `cut
/// off` by the session's end, or `dropped` for other questions.
class JsonReport : public SessionReport {
public:
    JsonReport(Write write, Clock clock);
    void tell(const SessionEvent& event) override;

private:
    void write(const char* kind, const QString& text, QJsonObject more = {});
    void row(const char* kind, int number, const KXTranslationHistoryDetailsModel& row);
    void answerEnded(const session::AnswerEnded& answer);

    Write write_;
    Clock clock_;
    std::map<int, QString> answers_; ///< that grow, as far as they have come
};

} // namespace parlowen
