#include "ScriptedHttpServer.h"

#include "TlsFiles.h"
#include <algorithm>

namespace parlowen::testing {

namespace {

QByteArray statusLine(int status) { return "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n"; }

QByteArray jsonHead(int status, qsizetype length) {
    return statusLine(status) + "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(length) +
           "\r\n\r\n";
}

} // namespace

ScriptedHttpServer::Reply ScriptedHttpServer::Reply::json(int status, const QByteArray& body) {
    return {jsonHead(status, body.size()) + body};
}

ScriptedHttpServer::Reply ScriptedHttpServer::Reply::cut(const QByteArray& body, qsizetype bytes) {
    return {jsonHead(200, body.size()) + body.first(bytes), true};
}

ScriptedHttpServer::Reply ScriptedHttpServer::Reply::eventStream(int status) {
    return {statusLine(status) + "Content-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n"};
}

ScriptedHttpServer::ScriptedHttpServer(Scheme scheme)
    : scheme_(scheme)
    , server_(makeListener(scheme == Scheme::https)) {
    connect(server_.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket* socket = server_->nextPendingConnection()) {
            ++connections_;
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { receive(*socket); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                buffers_.remove(socket);
                socket->deleteLater();
            });
        }
    });
    if (!server_->listen(QHostAddress::LocalHost))
        qFatal("no port on the loopback interface");
}

void ScriptedHttpServer::receive(QTcpSocket& socket) {
    buffers_[&socket] += socket.readAll();
    while (std::optional<Request> request = takeRequest(buffers_[&socket])) {
        requests_.push_back(std::move(*request));
        latest_ = &socket;
        answer(socket);
    }
}

std::optional<ScriptedHttpServer::Request> ScriptedHttpServer::takeRequest(QByteArray& buffer) {
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return std::nullopt;
    QList<QByteArray> lines = buffer.first(headEnd).replace("\r\n", "\n").split('\n');
    const QList<QByteArray> requestLine = lines.takeFirst().split(' ');
    Request request{requestLine.value(0), requestLine.value(1), {}, {}};
    for (const QByteArray& line : lines) {
        const qsizetype colon = line.indexOf(':');
        request.headers.insert(line.first(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    const qsizetype length = request.header("Content-Length").value_or("0").toLongLong();
    const qsizetype bodyStart = headEnd + 4;
    if (buffer.size() < bodyStart + length)
        return std::nullopt;
    request.body = buffer.mid(bodyStart, length);
    buffer.remove(0, bodyStart + length);
    return request;
}

void ScriptedHttpServer::answer(QTcpSocket& socket) {
    if (!replies_.empty()) {
        lastReply_ = replies_.front();
        replies_.pop_front();
    }
    if (!lastReply_)
        qFatal("a request came for which the test has no reply");
    socket.write(lastReply_->bytes);
    if (lastReply_->close)
        socket.disconnectFromHost();
}

} // namespace parlowen::testing
