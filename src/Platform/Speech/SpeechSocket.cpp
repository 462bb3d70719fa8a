#include "SpeechSocket.h"

#include <QSslConfiguration>
#include <algorithm>
#include <utility>

#include "SpeechEndpoint.h"

namespace parlowen {

namespace {

constexpr qint64 comfortablyWaiting = qint64{64} * 1024;
constexpr std::chrono::seconds longestOpening{9}; // and up to a tick more
constexpr quint64 longestMessage = quint64{1024} * 1024;

} // namespace

SpeechSocket::SpeechSocket(Callbacks callbacks, std::chrono::milliseconds answerTimeout)
    : callbacks_(std::move(callbacks))
    , answerTimeout_(answerTimeout) {
    socket_.setMaxAllowedIncomingMessageSize(longestMessage);
    ticker_.setInterval(answerTimeout / 4);
    listen();
}

void SpeechSocket::listen() {
    connect(&socket_, &QWebSocket::connected, this, [this] { onOpened(); });
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    connect(&socket_, &QWebSocket::errorOccurred, this, [this] { onError(); });
#else
    connect(&socket_, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this, [this] { onError(); });
#endif
    connect(&socket_, &QWebSocket::disconnected, this, [this] { onDisconnected(); });
    connect(&socket_, &QWebSocket::sslErrors, this, [this](const QList<QSslError>& errors) {
        lose(afterUntrustedCertificate(errors.isEmpty() ? QString("unknown error") : errors.first().errorString()));
    });
    connect(&socket_, &QWebSocket::textMessageReceived, this, [this](const QString& text) {
        const QByteArray bytes = text.toUtf8();
        onMessage(wire::decodeText({bytes.constData(), static_cast<std::size_t>(bytes.size())}));
    });
    connect(&socket_, &QWebSocket::binaryMessageReceived, this, [this](const QByteArray& bytes) {
        onMessage(wire::decodeBinary({bytes.constData(), static_cast<std::size_t>(bytes.size())}));
    });
    connect(&socket_, &QWebSocket::pong, this, [this](quint64 /*milliseconds*/, const QByteArray& position) {
        lastHeard_ = std::chrono::steady_clock::now();
        if (!over_)
            callbacks_.reached(position.toULongLong());
    });
    connect(&socket_, &QWebSocket::bytesWritten, this, [this] {
        if (open_ && !over_)
            callbacks_.drained();
    });
    connect(&ticker_, &QTimer::timeout, this, [this] { onTick(); });
}

void SpeechSocket::open(const QNetworkRequest& request) {
    lastHeard_ = std::chrono::steady_clock::now();
    ticker_.start();
    if (request.url().scheme() == "wss")
        socket_.setSslConfiguration(SpeechEndpoint::sslConfiguration(request.url().host()));
    // Later, since a failure may be reported at once.
    QTimer::singleShot(0, this, [this, request] { socket_.open(request); });
}

void SpeechSocket::send(const wire::SpeechMessage& message) {
    const std::string frame = wire::encode(message);
    const auto size = static_cast<qsizetype>(frame.size());
    if (message.binary)
        socket_.sendBinaryMessage(QByteArray::fromRawData(frame.data(), size));
    else
        socket_.sendTextMessage(QString::fromUtf8(frame.data(), size));
}

bool SpeechSocket::isBusy() const { return socket_.bytesToWrite() > comfortablyWaiting; }

void SpeechSocket::close() {
    over_ = true;
    ticker_.stop();
    socket_.close();
}

void SpeechSocket::onOpened() {
    if (over_)
        return;
    open_ = true;
    lastHeard_ = std::chrono::steady_clock::now();
    callbacks_.opened();
}

void SpeechSocket::onError() {
    // Once it is open the end of the connection follows, and knows the close code.
    if (open_)
        return;
    const QString problem = socket_.errorString();
    const std::optional<int> status = httpStatusIn(problem);
    lose(status ? afterHttpStatus(*status) : afterNetworkFailure({problem, problem}));
}

void SpeechSocket::onDisconnected() {
    if (open_)
        lose(afterClose(socket_.closeCode(), socket_.closeReason()));
    else
        lose(afterNetworkFailure({"the service hung up", "服务挂断了连接"}));
}

void SpeechSocket::onTick() {
    const auto longest = open_ ? answerTimeout_ : std::min<std::chrono::milliseconds>(answerTimeout_, longestOpening);
    if (std::chrono::steady_clock::now() - lastHeard_ > longest)
        lose(afterNetworkFailure({"the service does not answer", "服务没有应答"}));
    else if (open_)
        ping();
}

void SpeechSocket::ping() { socket_.ping(QByteArray::number(callbacks_.position())); }

void SpeechSocket::onMessage(const wire::DecodedMessage& message) {
    lastHeard_ = std::chrono::steady_clock::now();
    if (message && !over_)
        callbacks_.received(*message);
}

void SpeechSocket::lose(const SpeechVerdict& verdict) {
    if (std::exchange(over_, true))
        return;
    ticker_.stop();
    // Later, so that the owner may drop this object and what the socket reports is complete.
    QTimer::singleShot(0, this, [this, verdict] { callbacks_.lost(verdict); });
}

} // namespace parlowen
