#include "SpeechConnection.h"

#include <QCoreApplication>
#include <QEvent>
#include <utility>

namespace parlowen {

namespace {

constexpr std::size_t bytesPerMessage = 3200; // 100 ms

constexpr QEvent::Type wakeUp = QEvent::User;

} // namespace

SpeechConnection::SpeechConnection(SpeechSession session, std::shared_ptr<SpeechHandlers> handlers,
                                   std::function<void()> onEnded)
    : session_(std::move(session))
    , handlers_(std::move(handlers))
    , onEnded_(std::move(onEnded))
    , connectionId_(wire::guidWithoutDashes()) {
    pause_.setSingleShot(true);
    pause_.setTimerType(Qt::PreciseTimer);
    reconnect_.setSingleShot(true);
    connect(&pause_, &QTimer::timeout, this, [this] { sendAudio(); });
    connect(&reconnect_, &QTimer::timeout, this, [this] { connectNow(); });
    connectNow();
}

SpeechConnection::~SpeechConnection() {
    session_.stream->detach();
    if (socket_)
        socket_->close();
}

void SpeechConnection::wake() { QCoreApplication::postEvent(this, new QEvent(wakeUp)); }

bool SpeechConnection::event(QEvent* event) {
    if (event->type() != wakeUp)
        return QObject::event(event);
    if (handlers_->ended)
        onEnded_();
    else
        sendAudio();
    return true;
}

void SpeechConnection::connectNow() {
    const SpeechTask& task = session_.task;
    QNetworkRequest request(task.translates() ? session_.endpoint.translationUrl(task.language, task.targets)
                                              : session_.endpoint.recognitionUrl(task.language));
    request.setRawHeader("Authorization", "Bearer " + session_.token.toLatin1());
    request.setRawHeader("X-ConnectionId", QByteArray::fromStdString(connectionId_));
    socket_ = std::make_unique<SpeechSocket>(
        SpeechSocket::Callbacks{[this] { onOpened(); }, [this](const auto& message) { onMessage(message); },
                                [this] { sendAudio(); }, [this](const auto& verdict) { onLost(verdict); }},
        session_.answerTimeout);
    socket_->open(request);
}

void SpeechConnection::onOpened() {
    open_ = true;
    beginTurn();
    sendAudio();
}

void SpeechConnection::beginTurn() {
    const bool firstOnSocket = !turn_;
    next_ = backlog_.begin();
    turn_.emplace(session_.task, wire::guidWithoutDashes(), next_);
    pacing_.emplace(SpeechPacing::Clock::now());
    if (firstOnSocket)
        socket_->send(turn_->configuration());
    for (const wire::SpeechMessage& message : turn_->opening())
        socket_->send(message);
}

void SpeechConnection::fill() {
    const std::size_t ready = backlog_.end() - next_;
    if (ready >= bytesPerMessage)
        return;
    std::string fresh;
    session_.stream->read(bytesPerMessage - ready, fresh);
    backlog_.append(fresh);
}

void SpeechConnection::sendAudio() {
    while (open_ && !socket_->isBusy() && sendNextPiece()) {
    }
}

/// False when there is nothing to send for now.
bool SpeechConnection::sendNextPiece() {
    if (turn_->audioEnded() && !turn_->hasEnded())
        return false;
    if (turn_->hasEnded())
        next_ = backlog_.begin();
    fill();
    const std::string_view piece = backlog_.read(next_, bytesPerMessage);
    if (piece.size() < bytesPerMessage && !session_.stream->atEnd())
        return false;
    if (turn_->hasEnded()) {
        beginTurn();
        return true;
    }
    if (piece.empty()) {
        socket_->send(turn_->endOfAudio());
        return false;
    }
    if (const auto wait = pacing_->wait(piece.size(), SpeechPacing::Clock::now()); wait.count() > 0) {
        pause_.start(wait);
        return false;
    }
    socket_->send(turn_->audio(piece));
    pacing_->sent(piece.size());
    next_ += piece.size();
    backlog_.bound(next_);
    return true;
}

void SpeechConnection::onMessage(const wire::SpeechMessage& message) {
    for (const SpeechEvent& event : turn_->feed(message)) {
        onEvent(event);
        if (!open_ || handlers_->ended)
            return;
    }
}

void SpeechConnection::onEvent(const SpeechEvent& event) {
    const auto tell = [this](const SPXRecognitionEventHandler& handler, const SpeechEvent& heard) {
        if (handler && !handlers_->ended)
            handler({heard.result});
    };
    switch (event.kind) {
    case SpeechEvent::Kind::Partial:
        tell(handlers_->recognizing, event);
        return;
    case SpeechEvent::Kind::Final:
        attempts_ = 0;
        backlog_.dropBefore(turn_->resumeAt());
        tell(handlers_->recognized, event);
        return;
    case SpeechEvent::Kind::Canceled:
        cancel(event.details);
        return;
    case SpeechEvent::Kind::TurnEnded:
        if (turn_->audioEnded())
            finish();
        else
            sendAudio();
        return;
    }
}

void SpeechConnection::onLost(const SpeechVerdict& verdict) {
    const bool nothingLeft = turn_ && turn_->audioEnded() && backlog_.begin() == backlog_.end();
    open_ = false;
    turn_.reset();
    socket_.release()->deleteLater();
    if (nothingLeft)
        finish();
    else if (!verdict.reconnect)
        cancel(verdict.details);
    else if (attempts_ == maxAttempts)
        cancel(QString("Gave up after %1 attempts to connect again. %2").arg(maxAttempts).arg(verdict.details));
    else
        reconnect_.start(session_.firstReconnectPause * (1 << attempts_++));
}

void SpeechConnection::finish() {
    open_ = false;
    pause_.stop();
    session_.stream->detach();
    if (socket_) {
        socket_->close();
        socket_.release()->deleteLater();
    }
}

void SpeechConnection::cancel(const QString& details) {
    finish();
    if (handlers_->canceled && !handlers_->ended)
        handlers_->canceled({details});
}

} // namespace parlowen
