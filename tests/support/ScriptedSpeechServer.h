#pragma once

#include <QObject>
#include <QTcpServer>
#include <QUrl>
#include <QWebSocket>
#include <QWebSocketServer>
#include <Wire/SpeechMessage.h>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace parlowen::testing {

struct SpeechTurnSeen {
    std::string requestId;
    std::string waveHeader; ///< payload of the first audio message
    std::string audio;      ///< everything after it
    bool audioEnded = false;
};

class SpeechSessionSeen : public QObject {
public:
    explicit SpeechSessionSeen(std::unique_ptr<QWebSocket> socket);

    QUrl url() const { return socket->requestUrl(); }
    QByteArray header(const char* name) const { return socket->request().rawHeader(name); }

    /// Sends a message of the service; without a request id that of the running turn is used.
    void send(const std::string& path, const std::string& body, const std::string& requestId = {});
    void close(int code, const QString& reason = {}) {
        socket->close(static_cast<QWebSocketProtocol::CloseCode>(code), reason);
    }
    /// Drops the connection without a close frame.
    void drop() { socket->abort(); }
    bool isClosed() const { return socket->state() == QAbstractSocket::UnconnectedState; }

    std::unique_ptr<QWebSocket> socket;
    std::vector<wire::SpeechMessage> messages; ///< all that came, in order
    std::vector<std::string> problems;         ///< frames that were no message
    std::vector<SpeechTurnSeen> turns;
    /// Called after each audio message of the running turn.
    std::function<void(SpeechSessionSeen&)> onAudio;

private:
    void take(const wire::DecodedMessage& message);
    void takeAudio(const wire::SpeechMessage& message);
};

/// A small speech service on the loopback interface that does as the test says and keeps what it was sent.
/// It works as long as the thread that made it runs its event loop.
class ScriptedSpeechServer : public QObject {
public:
    enum class Scheme { ws, wss };

    /// Over wss it shows the certificate of tls/server.pem, which tls/authority.pem signed for 127.0.0.1 and localhost.
    explicit ScriptedSpeechServer(Scheme scheme = Scheme::ws);

    /// The base URL under one of the names of this machine, to be used as the area.
    QString area(const QString& host = "127.0.0.1") const {
        return QString("%1://%2:%3").arg(scheme_ == Scheme::wss ? "wss" : "ws", host).arg(listener_->serverPort());
    }

    /// What becomes of the next connections, in order; those after them are accepted.
    void refuseNext(int httpStatus, int times = 1) {
        plans_.insert(plans_.end(), static_cast<std::size_t>(times), httpStatus);
    }
    void hangUpOnNext(int times = 1) { refuseNext(hangUp, times); } ///< closes without an answer to the upgrade
    void leaveNextUnanswered() { refuseNext(unanswered); }
    /// The newest connection stays open, and nothing of it is read or answered any more.
    void stallNewest() { newest_->blockSignals(true); }

    int connections = 0;                                      ///< all that came, refused ones as well
    std::vector<std::unique_ptr<SpeechSessionSeen>> sessions; ///< accepted ones, in order
    /// Called for each accepted connection before anything is read of it.
    std::function<void(SpeechSessionSeen&)> onSession;

private:
    static constexpr int hangUp = -1;
    static constexpr int unanswered = -2;
    void onConnection();
    void onWebSocket();

    Scheme scheme_;
    std::unique_ptr<QTcpServer> listener_;
    QWebSocketServer upgrader_;
    QTcpSocket* newest_ = nullptr;
    std::deque<int> plans_; ///< HTTP statuses, or 0, hangUp, unanswered
};

} // namespace parlowen::testing
