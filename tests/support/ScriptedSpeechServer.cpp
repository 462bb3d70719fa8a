#include "ScriptedSpeechServer.h"

#include "TlsFiles.h"
#include <QTcpSocket>
#include <utility>

namespace parlowen::testing {

namespace {

std::string_view viewOf(const QByteArray& bytes) { return {bytes.constData(), static_cast<std::size_t>(bytes.size())}; }

void answerWithStatus(QTcpSocket& socket, int status) {
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [&socket, status] {
        if (!socket.peek(socket.bytesAvailable()).contains("\r\n\r\n"))
            return;
        socket.readAll();
        socket.write("HTTP/1.1 " + QByteArray::number(status) +
                     " Scripted\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        socket.disconnectFromHost();
    });
}

} // namespace

SpeechSessionSeen::SpeechSessionSeen(std::unique_ptr<QWebSocket> opened)
    : socket(std::move(opened)) {
    connect(socket.get(), &QWebSocket::textMessageReceived, this,
            [this](const QString& text) { take(wire::decodeText(text.toStdString())); });
    connect(socket.get(), &QWebSocket::binaryMessageReceived, this,
            [this](const QByteArray& bytes) { take(wire::decodeBinary(viewOf(bytes))); });
}

void SpeechSessionSeen::send(const std::string& path, const std::string& body, const std::string& requestId) {
    const std::string id = requestId.empty() && !turns.empty() ? turns.back().requestId : requestId;
    wire::SpeechMessage message{{{"X-RequestId", id}, {"Path", path}}, body, false};
    if (!body.empty())
        message.headers.emplace_back("Content-Type", "application/json; charset=utf-8");
    socket->sendTextMessage(QString::fromStdString(wire::encode(message)));
}

void SpeechSessionSeen::take(const wire::DecodedMessage& message) {
    if (!message) {
        problems.push_back(message.error());
        return;
    }
    messages.push_back(*message);
    if (message->path() == "speech.context")
        turns.push_back({std::string(message->requestId()), {}, {}, false});
    else if (message->path() == "audio")
        takeAudio(*message);
}

void SpeechSessionSeen::takeAudio(const wire::SpeechMessage& message) {
    if (turns.empty() || turns.back().requestId != message.requestId() || turns.back().audioEnded) {
        problems.emplace_back("audio outside of its turn");
        return;
    }
    SpeechTurnSeen& turn = turns.back();
    if (turn.waveHeader.empty()) {
        turn.waveHeader = message.body;
        if (message.header("Content-Type") != "audio/x-wav")
            problems.emplace_back("audio of another type");
        return;
    }
    turn.audio += message.body;
    turn.audioEnded = message.body.empty();
    if (onAudio)
        onAudio(*this);
}

ScriptedSpeechServer::ScriptedSpeechServer(Scheme scheme)
    : scheme_(scheme)
    , listener_(makeListener(scheme == Scheme::wss))
    , upgrader_("speech", QWebSocketServer::NonSecureMode) {
    connect(listener_.get(), &QTcpServer::pendingConnectionAvailable, this, [this] { onConnection(); });
    connect(&upgrader_, &QWebSocketServer::newConnection, this, [this] { onWebSocket(); });
    listener_->listen(QHostAddress::LocalHost);
}

void ScriptedSpeechServer::onConnection() {
    while (QTcpSocket* socket = listener_->nextPendingConnection()) {
        ++connections;
        newest_ = socket;
        int plan = 0;
        if (!plans_.empty()) {
            plan = plans_.front();
            plans_.pop_front();
        }
        if (plan == hangUp)
            socket->abort();
        else if (plan > 0)
            answerWithStatus(*socket, plan);
        else if (plan == 0)
            upgrader_.handleConnection(socket);
    }
}

void ScriptedSpeechServer::onWebSocket() {
    while (QWebSocket* socket = upgrader_.nextPendingConnection()) {
        socket->setParent(nullptr);
        sessions.push_back(std::make_unique<SpeechSessionSeen>(std::unique_ptr<QWebSocket>(socket)));
        if (onSession)
            onSession(*sessions.back());
    }
}

} // namespace parlowen::testing
