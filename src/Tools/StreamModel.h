#pragma once

#include <QString>
#include <functional>
#include <mutex>

namespace parlowen {

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

    /// Adds a piece to the answer and reports it.
    void append(const QString& piece);
    /// Reports the end of the connection.
    void complete();

private:
    mutable std::mutex mutex_;
    QString responseText_;
    std::function<void(const QString&)> onUpdate_;
    std::function<void(const QString&)> didComplete_;
};

} // namespace parlowen
