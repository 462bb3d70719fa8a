#pragma once

#include <Foundation/Phrase.h>

#include <QStringList>
#include <cstdint>
#include <functional>
#include <mutex>

namespace parlowen {

/// How an answer came to its end. A value.
struct AnswerEnd {
    enum class Outcome : std::uint8_t {
        Complete,  ///< the backend said that this was all
        Failed,    ///< for the `cause`
        Cancelled, ///< the session ended first
        Dropped,   ///< other questions took its place in the list
    };
    enum class Cause : std::uint8_t {
        None,
        NoConnection,  ///< the backend could not be reached
        SignInRefused, ///< HTTP 401 or 403
        BackendFailed, ///< another HTTP error, or a reply that is no answer
        BrokenOff,     ///< it ended without its end mark
    };

    Outcome outcome = Outcome::Complete;
    Cause cause = Cause::None;
    QString details; ///< a status and what the backend or the network said, as they said it; may be empty

    bool operator==(const AnswerEnd&) const = default;
};

/// Why an answer failed, in a few words for people; empty for any other end.
QString answerFailureText(const AnswerEnd& end, Language language);

/// One question and its growing answer. Shared by the session, the client that fetches the answer and the row that
/// shows it. The answer grows on the client's thread; everything may be used on any thread.
class StreamModel {
public:
    StreamModel(qint64 id, qint64 type, QString txt, QString role, QString original_language, QString trans_language);
    StreamModel(const StreamModel&) = delete;
    StreamModel& operator=(const StreamModel&) = delete;

    const qint64 id;                 ///< the session's running number of the answer; not sent
    const qint64 type;               ///< answer style: 1 concise, 2 detailed
    const QString txt;               ///< the question
    const QString role;              ///< the position that the candidate interviews for
    const QString original_language; ///< display name of the spoken language; empty when unknown
    const QString trans_language;    ///< display name of the translation's language; empty without translation

    /// The answer as far as it has come.
    QString responseText() const;

    /// Called with the whole answer after each piece, on the client's thread.
    void setOnUpdate(std::function<void(const QString&)> onUpdate);
    /// Called once with "已完成" when the connection has ended, on the client's thread.
    void setDidComplete(std::function<void(const QString&)> didComplete);

    /// Called with the lines of the résumé that the answer leans on, where the backend names them.
    void setOnGrounds(std::function<void(const QStringList&)> onGrounds);
    /// Called just before `didComplete`, with how it ended.
    void setOnEnd(std::function<void(const AnswerEnd&)> onEnd);

    /// Adds a piece to the answer and reports it.
    void append(const QString& piece);
    /// Reports what the answer leans on.
    void ground(const QStringList& lines);
    /// Reports the end of the connection.
    void complete(const AnswerEnd& end = {});

private:
    mutable std::mutex mutex_;
    QString responseText_;
    std::function<void(const QString&)> onUpdate_;
    std::function<void(const QString&)> didComplete_;
    std::function<void(const QStringList&)> onGrounds_;
    std::function<void(const AnswerEnd&)> onEnd_;
};

} // namespace parlowen
