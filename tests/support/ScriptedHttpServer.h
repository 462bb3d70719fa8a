#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>
#include <deque>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace parlowen::testing {

/// Takes of what is sent what the system buffers for it, until it accepts the connection.
struct DeafServer : QTcpServer {
    DeafServer() {
        listen(QHostAddress::LocalHost);
        pauseAccepting();
    }
    QUrl url() const { return {QString("http://127.0.0.1:%1").arg(serverPort())}; }
};

/// A small HTTP server on the loopback interface that answers as the test says and keeps what it was asked. It works as
/// long as the thread that made it runs its event loop.
class ScriptedHttpServer : public QObject {
    Q_OBJECT

public:
    struct Request {
        QByteArray method;
        QByteArray target;                     ///< path and query, as they were sent
        QHash<QByteArray, QByteArray> headers; ///< by their names in small letters
        QByteArray body;
        std::optional<QByteArray> header(const QByteArray& name) const {
            const auto found = headers.find(name.toLower());
            return found == headers.end() ? std::nullopt : std::optional(*found);
        }
    };

    /// What goes over the wire for one request, and whether the connection is closed behind it.
    struct Reply {
        QByteArray bytes;
        bool close = false;

        static Reply json(int status, const QByteArray& body);
        /// Announces the whole body, sends its first `bytes` bytes and closes the connection.
        static Reply cut(const QByteArray& body, qsizetype bytes);
        /// The head of an event stream; its pieces follow with sendPiece().
        static Reply eventStream(int status = 200);
        /// No byte; the connection stays open.
        static Reply silence() { return {}; }
    };

    enum class Scheme { http, https };
    /// Over https it shows the certificate of tls/server.pem, which tls/authority.pem signed for 127.0.0.1 and
    /// localhost.
    explicit ScriptedHttpServer(Scheme scheme = Scheme::http);

    QString baseUrl(const QString& host = QStringLiteral("127.0.0.1")) const {
        return QString("%1://%2:%3").arg(scheme_ == Scheme::https ? "https" : "http", host).arg(server_->serverPort());
    }
    /// One reply a request, in order; the last one is given again and again.
    void enqueue(Reply reply) { replies_.push_back(std::move(reply)); }
    const std::vector<Request>& requests() const { return requests_; }
    /// How many connections were accepted.
    int connections() const { return connections_; }

    /// Sends a piece of the latest request's event stream.
    void sendPiece(const QByteArray& bytes) {
        latest_->write(QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n");
    }
    void endStream() { latest_->write("0\r\n\r\n"); }
    void closeConnection() { latest_->disconnectFromHost(); }
    /// Whether the latest request's client has closed its connection.
    bool isConnectionClosed() const { return !requests_.empty() && latest_.isNull(); }

    /// The base URL of a port that nobody listens on.
    static QString refusingUrl() { return DeafServer().url().toString(); }

private:
    void receive(QTcpSocket& socket);
    static std::optional<Request> takeRequest(QByteArray& buffer);
    void answer(QTcpSocket& socket);

    const Scheme scheme_;
    QHash<QTcpSocket*, QByteArray> buffers_;
    std::deque<Reply> replies_;
    std::optional<Reply> lastReply_;
    std::vector<Request> requests_;
    int connections_ = 0;
    QPointer<QTcpSocket> latest_;
    const std::unique_ptr<QTcpServer> server_; // goes first: its sockets still report that they close
};

} // namespace parlowen::testing
