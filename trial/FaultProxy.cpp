#include "FaultProxy.h"

#include <algorithm>

namespace parlowen::trial {

FaultProxy::FaultProxy(quint16 serverPort)
    : serverPort_(serverPort) {
    connect(&listener_, &QTcpServer::newConnection, this, [this] { onConnection(); });
    listener_.listen(QHostAddress::LocalHost);
    port_ = listener_.serverPort();
}

void FaultProxy::cutAll() {
    for (const auto& pair : pairs_)
        cut(*pair);
}

void FaultProxy::refuse(bool refused) {
    if (refused) {
        listener_.close();
        cutAll();
    } else {
        listener_.listen(QHostAddress::LocalHost, port_);
    }
}

void FaultProxy::hold(bool held) {
    held_ = held;
    for (const auto& pair : pairs_)
        pump(*pair);
}

void FaultProxy::onConnection() {
    while (QTcpSocket* client = listener_.nextPendingConnection()) {
        auto* const server = new QTcpSocket(&listener_);
        Pair* const pair = pairs_.emplace_back(std::make_unique<Pair>(Pair{client, server, {}})).get();
        if (!plans_.empty()) {
            pair->plan = plans_.front();
            plans_.pop_front();
        }
        connect(server, &QTcpSocket::connected, client, [this, pair] { pump(*pair); });
        for (QTcpSocket* const from : {client, server}) {
            QTcpSocket* const to = from == client ? server : client;
            const auto closed = [this, pair, to] {
                pump(*pair);
                if (!pair->stalled)
                    to->disconnectFromHost();
            };
            // Each handler goes with the socket that it acts on.
            connect(from, &QTcpSocket::readyRead, to, [this, pair] { pump(*pair); });
            connect(from, &QTcpSocket::disconnected, to, closed);
            connect(from, &QTcpSocket::errorOccurred, to, closed);
        }
        server->connectToHost(QHostAddress(QHostAddress::LocalHost), serverPort_);
    }
}

void FaultProxy::pump(Pair& pair) const {
    auto& [client, server, plan, stalled] = pair;
    if (held_ || stalled || !client->isOpen() || server->state() != QAbstractSocket::ConnectedState)
        return;
    client->write(server->readAll());
    const QByteArray up = client->read(std::min(plan.bytes, client->bytesAvailable()));
    server->write(up);
    plan.bytes -= up.size();
    if (plan.bytes > 0)
        return;
    if (plan.fault == Fault::cut)
        cut(pair);
    else
        stalled = true;
}

void FaultProxy::cut(Pair& pair) {
    for (QTcpSocket* socket : {pair.client, pair.server}) {
        socket->flush(); // what was carried before the cut still arrives
        socket->abort();
    }
}

} // namespace parlowen::trial
