#include "FaultProxy.h"

#include <algorithm>
#include <limits>

namespace parlowen::testing {

namespace {

constexpr FaultProxy::Plan noFault{FaultProxy::Way::up, std::numeric_limits<qint64>::max()};

void cut(QTcpSocket& client, QTcpSocket& server) {
    for (QTcpSocket* socket : {&client, &server}) {
        socket->flush(); // what was carried before the cut still arrives
        socket->abort();
    }
}

} // namespace

FaultProxy::FaultProxy(quint16 serverPort)
    : serverPort_(serverPort) {
    connect(&listener_, &QTcpServer::newConnection, this, [this] { onConnection(); });
    listener_.listen(QHostAddress::LocalHost);
}

void FaultProxy::cutAll() {
    for (const auto& pair : pairs_)
        cut(*pair->client, *pair->server);
}

void FaultProxy::onConnection() {
    while (QTcpSocket* client = listener_.nextPendingConnection()) {
        auto* const server = new QTcpSocket(&listener_);
        Pair* const pair = pairs_.emplace_back(std::make_unique<Pair>(Pair{client, server, noFault})).get();
        if (!plans_.empty()) {
            pair->plan = plans_.front();
            plans_.pop_front();
        }
        // Each handler goes with the socket that it acts on.
        connect(server, &QTcpSocket::connected, server, [this, pair] { pump(*pair, Way::up); });
        for (const Way way : {Way::up, Way::down}) {
            QTcpSocket* const from = way == Way::up ? client : server;
            QTcpSocket* const to = way == Way::up ? server : client;
            connect(from, &QTcpSocket::readyRead, to, [this, pair, way] { pump(*pair, way); });
            connect(from, &QTcpSocket::disconnected, to, [this, pair, way] { onClosed(*pair, way); });
            connect(from, &QTcpSocket::errorOccurred, to, [this, pair, way] { onClosed(*pair, way); });
        }
        server->connectToHost(QHostAddress(QHostAddress::LocalHost), serverPort_);
    }
}

void FaultProxy::pump(Pair& pair, Way way) {
    QTcpSocket* const from = way == Way::up ? pair.client : pair.server;
    QTcpSocket* const to = way == Way::up ? pair.server : pair.client;
    if (pair.stalled || !from->isOpen() || pair.server->state() != QAbstractSocket::ConnectedState)
        return;
    const bool counts = pair.plan.way == way;
    const QByteArray bytes =
        from->read(counts ? std::min(pair.plan.bytes, from->bytesAvailable()) : from->bytesAvailable());
    to->write(bytes);
    bytesUp_ += way == Way::up ? bytes.size() : 0;
    if (!counts || (pair.plan.bytes -= bytes.size()) > 0)
        return;
    if (pair.plan.fault == Fault::cut)
        cut(*pair.client, *pair.server);
    else
        pair.stalled = true;
}

void FaultProxy::onClosed(Pair& pair, Way way) {
    pump(pair, way);
    if (!pair.stalled)
        (way == Way::up ? pair.server : pair.client)->disconnectFromHost();
}

} // namespace parlowen::testing
