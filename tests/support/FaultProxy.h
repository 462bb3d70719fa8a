#pragma once

#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

namespace parlowen::testing {

/// A TCP proxy on the loopback interface that makes the network's bad days. It works as long as the thread that made
/// it runs its event loop, and carries TLS as well as anything else.
class FaultProxy : public QObject {
public:
    /// What happens to one connection. "Up" is towards the server.
    struct Plan {
        bool refuse = false;                  ///< closed as soon as it is accepted
        std::optional<qint64> cutAfterUp;     ///< both sides are dropped once that many bytes went up
        std::optional<qint64> cutAfterDown;   ///< the same for bytes that went down
        std::optional<qint64> stallAfterUp;   ///< from then on nothing goes either way, though it stays open
        std::optional<qint64> stallAfterDown; ///< the same for bytes that went down
        std::chrono::milliseconds delay{0};   ///< of everything, both ways

        static Plan refused();
        static Plan cutUp(qint64 bytes);
        static Plan cutDown(qint64 bytes);
        static Plan stallUp(qint64 bytes);
        static Plan stallDown(qint64 bytes);
    };

    FaultProxy(QString host, quint16 port);
    ~FaultProxy() override;
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    quint16 port() const { return listener_.serverPort(); }

    /// One plan for each of the next connections, in order; those after them only pass through.
    void plan(Plan next) { plans_.push_back(next); }
    /// Stops (or starts again) to listen: connections are refused by the system.
    void setListening(bool listening);
    /// Drops all open connections at once.
    void cutAll();

    int connections() const { return static_cast<int>(pairs_.size()); }
    qint64 bytesUp() const;
    qint64 bytesDown() const;

private:
    class Pair;
    void onConnection();

    QString host_;
    quint16 serverPort_;
    quint16 listenPort_ = 0;
    QTcpServer listener_;
    std::deque<Plan> plans_;
    std::vector<std::unique_ptr<Pair>> pairs_;
};

} // namespace parlowen::testing
