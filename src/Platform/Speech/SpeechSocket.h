#pragma once

#include <Wire/SpeechMessage.h>

#include <QNetworkRequest>
#include <QObject>
#include <QTimer>
#include <QWebSocket>
#include <chrono>
#include <functional>

#include "SpeechVerdict.h"

namespace parlowen {

/// One connection to the service, used once: it opens, carries messages and is lost. It belongs to the thread that
/// makes it and calls back on it, never from within one of its operations.
class SpeechSocket : public QObject {
public:
    struct Callbacks {
        std::function<void()> opened;
        std::function<void(const wire::SpeechMessage&)> received;
        std::function<void()> drained;                  ///< some of what was sent has left
        std::function<quint64()> position;              ///< how much audio was sent, for the next sign of life
        std::function<void(quint64)> reached;           ///< the service has received all audio up to there
        std::function<void(const SpeechVerdict&)> lost; ///< at most once; nothing comes after it
    };

    /// It counts as lost when nothing is heard of the service for that long, and when it is not open after 10 s.
    SpeechSocket(Callbacks callbacks, std::chrono::milliseconds answerTimeout);

    void open(const QNetworkRequest& request);
    void send(const wire::SpeechMessage& message);
    /// Asks the service for a sign of life.
    void ping();
    /// True while more waits to leave than is good to add to.
    bool isBusy() const;
    /// Ends it in order; nothing is called back from then on.
    void close();

private:
    void listen();
    void onOpened();
    void onError();
    void onDisconnected();
    void onTick();
    void onMessage(const wire::DecodedMessage& message);
    void lose(const SpeechVerdict& verdict);

    Callbacks callbacks_;
    std::chrono::milliseconds answerTimeout_;
    QWebSocket socket_;
    QTimer ticker_;
    std::chrono::steady_clock::time_point lastHeard_;
    bool open_ = false;
    bool over_ = false;
};

} // namespace parlowen
