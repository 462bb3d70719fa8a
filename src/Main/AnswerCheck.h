#pragma once

#include "SessionSettings.h"
#include "SessionSignIn.h"

#include <Tools/StreamingClient.h>

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <functional>
#include <memory>

namespace parlowen {

class Composition;

/// Asks one question as a session would, and prints the answer as it grows and how long its first piece and the whole
/// took, in milliseconds from the request on. Main thread only.
class AnswerCheck : public QObject {
public:
    using Write = std::function<void(const QByteArray&)>;

    /// `finished` gets 0 when the answer came whole, else 1. The composition works on these settings.
    AnswerCheck(SessionSettings& settings, Composition& composition, Write write, std::function<void(int)> finished);
    ~AnswerCheck() override;

    void begin();

private:
    void signIn(const LocalTrust& trust);
    void ask();
    void grew(const QString& whole);
    void ended(const AnswerEnd& end);
    void fail(const QString& problem);

    SessionSettings& settings_;
    Composition& composition_;
    const Write write_;
    const std::function<void(int)> finished_;
    LocalTrust trust_;
    std::unique_ptr<SessionSignIn> signIn_;
    std::shared_ptr<StreamingClient> client_;
    QElapsedTimer asked_;
    qint64 firstPiece_ = -1; ///< milliseconds; -1: none came
    qsizetype written_ = 0;  ///< characters of the answer
};

} // namespace parlowen
