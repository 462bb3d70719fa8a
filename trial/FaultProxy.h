#pragma once

#include <QTcpServer>
#include <QTcpSocket>
#include <deque>
#include <limits>
#include <memory>
#include <vector>

namespace parlowen::trial {

/// A TCP proxy on the loopback interface that makes the network's bad days. It works as long as the thread that made
/// it runs its event loop, and carries TLS as well as anything else.
class FaultProxy : public QObject {
public:
    enum class Fault { cut, stall };
    /// What happens to one connection once so many bytes went to the server: both sides are dropped, or nothing goes
    /// either way any more though it stays open.
    struct Plan {
        qint64 bytes = std::numeric_limits<qint64>::max();
        Fault fault = Fault::cut;
    };

    /// In front of a server on the loopback interface.
    explicit FaultProxy(quint16 serverPort);

    quint16 port() const { return port_; }
    /// One plan for each of the next connections, in order; those after them only pass through.
    void plan(Plan next) { plans_.push_back(next); }
    /// Drops all open connections at once.
    void cutAll();
    /// While it refuses, all connections are dropped and none is made.
    void refuse(bool refused);
    /// While it holds, nothing goes either way, and nothing is lost.
    void hold(bool held);
    int connections() const { return static_cast<int>(pairs_.size()); }

private:
    /// One client's connection and the one to the server that belongs to it.
    struct Pair {
        QTcpSocket* client;
        QTcpSocket* server;
        Plan plan;
        bool stalled = false;
    };
    void onConnection();
    void pump(Pair& pair) const;
    static void cut(Pair& pair);

    const quint16 serverPort_;
    quint16 port_ = 0;
    std::deque<Plan> plans_;
    std::vector<std::unique_ptr<Pair>> pairs_;
    QTcpServer listener_;
    bool held_ = false;
};

} // namespace parlowen::trial
