#include "FaultProxy.h"

#include <QTimer>
#include <algorithm>
#include <numeric>
#include <utility>

namespace parlowen::testing {

FaultProxy::Plan FaultProxy::Plan::refused() {
    Plan plan;
    plan.refuse = true;
    return plan;
}

FaultProxy::Plan FaultProxy::Plan::cutUp(qint64 bytes) {
    Plan plan;
    plan.cutAfterUp = bytes;
    return plan;
}

FaultProxy::Plan FaultProxy::Plan::cutDown(qint64 bytes) {
    Plan plan;
    plan.cutAfterDown = bytes;
    return plan;
}

FaultProxy::Plan FaultProxy::Plan::stallUp(qint64 bytes) {
    Plan plan;
    plan.stallAfterUp = bytes;
    return plan;
}

FaultProxy::Plan FaultProxy::Plan::stallDown(qint64 bytes) {
    Plan plan;
    plan.stallAfterDown = bytes;
    return plan;
}

/// One client's connection and the one to the server that belongs to it.
class FaultProxy::Pair : public QObject {
public:
    Pair(QTcpSocket* client, const QString& host, quint16 port, const Plan& plan)
        : plan_(plan)
        , client_(client)
        , server_(new QTcpSocket(this)) {
        client_->setParent(this);
        up_ = {client_, server_, plan.cutAfterUp, plan.stallAfterUp, 0};
        down_ = {server_, client_, plan.cutAfterDown, plan.stallAfterDown, 0};
        connect(server_, &QTcpSocket::connected, this, [this] { pump(up_); });
        for (Way* way : {&up_, &down_}) {
            connect(way->from, &QTcpSocket::readyRead, this, [this, way] { pump(*way); });
            connect(way->from, &QTcpSocket::disconnected, this, [this, way] { onClosed(*way); });
            connect(way->from, &QTcpSocket::errorOccurred, this, [this, way] { onClosed(*way); });
        }
        server_->connectToHost(host, port);
    }

    void cut() {
        client_->abort();
        server_->abort();
    }

    qint64 up() const { return up_.carried; }
    qint64 down() const { return down_.carried; }

private:
    struct Way {
        QTcpSocket* from = nullptr;
        QTcpSocket* to = nullptr;
        std::optional<qint64> cutAfter;
        std::optional<qint64> stallAfter;
        qint64 carried = 0;
    };

    void pump(Way& way) {
        if (stalled_ || !way.from->isOpen() || server_->state() != QAbstractSocket::ConnectedState)
            return;
        const qint64 limit = way.cutAfter.value_or(way.stallAfter.value_or(way.from->bytesAvailable() + way.carried));
        const QByteArray bytes = way.from->read(std::max<qint64>(0, limit - way.carried));
        way.carried += bytes.size();
        forward(way, bytes);
        stalled_ = way.stallAfter && way.carried >= *way.stallAfter;
        if (way.cutAfter && way.carried >= *way.cutAfter)
            cutBehind(way);
    }

    void forward(const Way& way, const QByteArray& bytes) {
        if (plan_.delay.count() > 0)
            QTimer::singleShot(plan_.delay, way.to, [to = way.to, bytes] { to->write(bytes); });
        else
            way.to->write(bytes);
    }

    /// What was carried before the cut still arrives.
    void cutBehind(const Way& way) {
        QTimer::singleShot(plan_.delay, this, [this, &way] {
            way.to->flush();
            cut();
        });
    }

    void onClosed(Way& way) {
        if (stalled_)
            return;
        pump(way);
        QTimer::singleShot(plan_.delay, way.to, [to = way.to] { to->disconnectFromHost(); });
    }

    Plan plan_;
    QTcpSocket* client_;
    QTcpSocket* server_;
    Way up_;
    Way down_;
    bool stalled_ = false;
};

FaultProxy::FaultProxy(QString host, quint16 port)
    : host_(std::move(host))
    , serverPort_(port) {
    connect(&listener_, &QTcpServer::newConnection, this, [this] { onConnection(); });
    setListening(true);
    listenPort_ = listener_.serverPort();
}

FaultProxy::~FaultProxy() = default;

void FaultProxy::setListening(bool listening) {
    if (listening)
        listener_.listen(QHostAddress::LocalHost, listenPort_);
    else
        listener_.close();
}

void FaultProxy::cutAll() {
    for (const auto& pair : pairs_)
        pair->cut();
}

qint64 FaultProxy::bytesUp() const {
    return std::accumulate(pairs_.begin(), pairs_.end(), qint64{0},
                           [](qint64 sum, const auto& p) { return sum + p->up(); });
}

qint64 FaultProxy::bytesDown() const {
    return std::accumulate(pairs_.begin(), pairs_.end(), qint64{0},
                           [](qint64 sum, const auto& p) { return sum + p->down(); });
}

void FaultProxy::onConnection() {
    while (QTcpSocket* client = listener_.nextPendingConnection()) {
        Plan next;
        if (!plans_.empty()) {
            next = plans_.front();
            plans_.pop_front();
        }
        pairs_.push_back(std::make_unique<Pair>(client, host_, serverPort_, next));
        if (next.refuse)
            pairs_.back()->cut();
    }
}

} // namespace parlowen::testing
