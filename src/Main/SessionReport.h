#pragma once

#include <Foundation/Phrase.h>

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <functional>
#include <map>

namespace parlowen {

/// What a rehearsal says while it runs. Rows and answers are counted from 1. Main thread only.
class SessionReport {
public:
    /// Takes finished lines, UTF-8, the line feed included.
    using Write = std::function<void(const QByteArray&)>;
    /// Seconds since recognition started.
    using Clock = std::function<double()>;

    virtual ~SessionReport();
    virtual void started(const QString& file) = 0;
    /// The sentence in progress, which will become row `row`.
    virtual void partial(int row, const QString& text, const QString& translation) = 0;
    virtual void row(int row, const QString& text, const QString& translation) = 0;
    /// Between the rows, so many seconds were not heard.
    virtual void missed(int seconds) = 0;
    /// How it stands with what is heard and recognised, in a few words; `plain` when there is nothing to do about it.
    virtual void status(const QString& text, bool plain) = 0;
    virtual void asked(int answer, const QString& question) = 0;
    /// The whole text of an answer so far.
    virtual void answerGrew(int answer, const QString& text) = 0;
    virtual void answered(int answer) = 0;
    virtual void problem(const QString& text) = 0;
    virtual void warning(const QString& text) = 0;
    virtual void ended(const QString& summary) = 0;
};

/// For people: a line for each row, and each line of an answer as soon as it is whole.
class TextReport : public SessionReport {
public:
    TextReport(Write write, Clock clock, Language language = terminalLanguage());
    void started(const QString& file) override;
    void partial(int row, const QString& text, const QString& translation) override;
    void row(int row, const QString& text, const QString& translation) override;
    void missed(int seconds) override;
    void status(const QString& text, bool plain) override;
    void asked(int answer, const QString& question) override;
    void answerGrew(int answer, const QString& text) override;
    void answered(int answer) override;
    void problem(const QString& text) override;
    void warning(const QString& text) override;
    void ended(const QString& summary) override;

private:
    struct Answer {
        QString text;
        qsizetype written = 0; ///< characters of `text` that were written as lines
    };
    void line(const QString& text);
    void writeLines(int answer, bool all);

    Write write_;
    Clock clock_;
    Language language_;
    std::map<int, Answer> answers_;
    bool saidStatus_ = false; ///< the last status had something to do about it
};

/// For programs: one JSON object a line. Every object has `kind` and `time`; most have `text` and `row`, translated
/// rows `translation`, and `missed` has `seconds`. An `answer` holds the next piece of the answer of that row number.
class JsonReport : public SessionReport {
public:
    JsonReport(Write write, Clock clock);
    void started(const QString& file) override;
    void partial(int row, const QString& text, const QString& translation) override;
    void row(int row, const QString& text, const QString& translation) override;
    void missed(int seconds) override;
    void status(const QString& text, bool plain) override;
    void asked(int answer, const QString& question) override;
    void answerGrew(int answer, const QString& text) override;
    void answered(int answer) override;
    void problem(const QString& text) override;
    void warning(const QString& text) override;
    void ended(const QString& summary) override;

private:
    void event(const char* kind, const QString& text, int row = 0, const QString& translation = {});
    void write(const char* kind, QJsonObject object);

    Write write_;
    Clock clock_;
    std::map<int, QString> answers_;
};

} // namespace parlowen
