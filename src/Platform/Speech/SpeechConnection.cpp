#include "SpeechConnection.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <cmath>
#include <utility>

namespace parlowen {

namespace {

constexpr std::size_t bytesPerMessage = 3200; // 100 ms
constexpr std::chrono::seconds longestPause{10};

constexpr QEvent::Type wakeUp = QEvent::User;

} // namespace

std::chrono::milliseconds SpeechPacing::wait(std::size_t bytes, Clock::time_point now) {
    const std::chrono::duration<double, std::milli> elapsed = now - last_;
    last_ = now;
    if (credit_ < burst)
        credit_ = std::min(burst, credit_ + elapsed.count() * bytesPerMillisecond);
    const double missing = static_cast<double>(bytes) - credit_;
    return std::chrono::milliseconds(missing > 0 ? std::lround(std::ceil(missing / bytesPerMillisecond)) : 0);
}

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

SpeechConnection::~SpeechConnection() { finish(); }

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

std::chrono::milliseconds SpeechConnection::pauseAfter(int attempts, std::chrono::milliseconds first) {
    return std::min<std::chrono::milliseconds>(first * (1 << std::min(attempts, 16)), longestPause);
}

void SpeechConnection::connectNow() {
    const SpeechTask& task = session_.task;
    const SPXSpeechConfiguration& configuration = session_.configuration;
    QNetworkRequest request(task.translates() ? configuration.endpoint().translationUrl(task.language, task.targets)
                                              : configuration.endpoint().recognitionUrl(task.language));
    request.setRawHeader("Authorization", "Bearer " + configuration.authorizationToken().toLatin1());
    request.setRawHeader("X-ConnectionId", QByteArray::fromStdString(connectionId_));
    socket_ = std::make_unique<SpeechSocket>(
        SpeechSocket::Callbacks{[this] { onOpened(); }, [this](const auto& message) { onMessage(message); },
                                [this] { sendAudio(); }, [this] { return next_; },
                                [this](quint64 position) { onReached(position); },
                                [this](const auto& verdict) { onLost(verdict); }},
        configuration.answerTimeout());
    attempt_.start();
    socket_->open(request);
}

void SpeechConnection::onOpened() {
    open_ = true;
    if (!refused_)
        tellConnected();
    beginTurn();
    sendAudio();
}

void SpeechConnection::tellConnected() const {
    if (handlers_->connection && !handlers_->ended)
        handlers_->connection({true, {}, {}});
}

/// The service takes sound.
void SpeechConnection::onUse() {
    attempts_ = 0;
    served_ = true;
    if (std::exchange(refused_, false))
        tellConnected();
}

void SpeechConnection::beginTurn() {
    const bool firstOnSocket = !turn_;
    next_ = session_.stream->rewind();
    tellGaps(next_);
    inSentence_ = false;
    turn_.emplace(session_.task, wire::guidWithoutDashes(), next_);
    pacing_.emplace(SpeechPacing::Clock::now());
    if (firstOnSocket)
        socket_->send(turn_->configuration());
    for (const wire::SpeechMessage& message : turn_->opening())
        socket_->send(message);
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
        session_.stream->rewind();
    if (!session_.stream->hasMore(bytesPerMessage))
        return false;
    if (turn_->hasEnded()) {
        beginTurn();
        return true;
    }
    if (!mayGoNow(bytesPerMessage))
        return false;
    const SPXPushAudioInputStream::Piece piece = session_.stream->read(bytesPerMessage);
    if (!piece.bytes.empty())
        send(piece);
    if (piece.atEnd)
        socket_->send(turn_->endOfAudio());
    return !piece.atEnd;
}

bool SpeechConnection::mayGoNow(std::size_t bytes) {
    const auto wait = pacing_->wait(bytes, SpeechPacing::Clock::now());
    if (wait.count() > 0)
        pause_.start(wait);
    return wait.count() == 0;
}

void SpeechConnection::send(const SPXPushAudioInputStream::Piece& piece) {
    if (piece.position > next_)
        turn_->skip(piece.position - next_);
    socket_->send(turn_->audio(piece.bytes));
    pacing_->sent(piece.bytes.size());
    const bool pastGap = session_.stream->hasPassedGap();
    next_ = piece.position + piece.bytes.size();
    if (pastGap && !inSentence_)
        socket_->ping(); // when it is answered, nothing of before the gap is still on its way
}

void SpeechConnection::onMessage(const wire::SpeechMessage& message) {
    for (const SpeechEvent& event : turn_->feed(message)) {
        onEvent(event);
        if (!open_ || handlers_->ended)
            return;
    }
}

void SpeechConnection::onEvent(const SpeechEvent& event) {
    switch (event.kind) {
    case SpeechEvent::Kind::Partial:
        inSentence_ = true;
        if (event.begin) {
            session_.stream->settle(*event.begin);
            tellGaps(*event.begin);
        }
        tell(handlers_->recognizing, event.result);
        return;
    case SpeechEvent::Kind::Final:
        onFinal(event);
        return;
    case SpeechEvent::Kind::Canceled:
        refused_ = true;
        if (event.verdict.reconnect)
            onLost(event.verdict);
        else
            cancel(event.verdict);
        return;
    case SpeechEvent::Kind::TurnEnded:
        if (turn_->audioEnded())
            complete();
        else
            sendAudio();
        return;
    }
}

void SpeechConnection::onFinal(const SpeechEvent& event) {
    onUse();
    inSentence_ = false;
    if (event.begin)
        tellGaps(*event.begin);
    const std::uint64_t upTo = turn_->resumeAt();
    session_.stream->release(upTo);
    tell(handlers_->recognized, event.result);
    if (!handlers_->ended)
        tellGaps(upTo);
}

/// What it has received without a sentence in progress holds none.
void SpeechConnection::onReached(std::uint64_t position) {
    onUse();
    if (inSentence_)
        return;
    session_.stream->settle(position);
    tellGaps(position);
}

void SpeechConnection::tell(const SPXRecognitionEventHandler& handler, const SPXRecognitionResult& heard) const {
    if (handler && !handlers_->ended)
        handler({heard});
}

void SpeechConnection::tellGaps(std::uint64_t position) const {
    const double seconds = session_.stream->takeGaps(position);
    if (seconds > 0 && handlers_->gap && !handlers_->ended)
        handlers_->gap({seconds});
}

/// A service that has served before is there: what answers in its place in mid-call, such as the sign-in page of a
/// network, goes again.
bool SpeechConnection::mayPass(const SpeechVerdict& verdict) const {
    return served_ && (verdict.trouble == SPXTrouble::NoSuchService || verdict.trouble == SPXTrouble::UntrustedService);
}

void SpeechConnection::onLost(const SpeechVerdict& verdict) {
    const bool nothingLeft = turn_ && turn_->audioEnded() && session_.stream->isRecognized();
    const bool wasOpen = open_;
    dropSocket();
    if (nothingLeft)
        return complete();
    if (!verdict.reconnect && !mayPass(verdict))
        return cancel(verdict);
    session_.stream->rewind();
    const std::chrono::milliseconds pause = pauseAfter(attempts_++, session_.configuration.firstReconnectPause());
    // An attempt that took its time has had its pause.
    reconnect_.start(wasOpen ? pause : std::max(pause - std::chrono::milliseconds(attempt_.elapsed()), {}));
    if (handlers_->connection && !handlers_->ended)
        handlers_->connection({false, verdict.trouble, verdict.details});
}

void SpeechConnection::dropSocket() {
    open_ = false;
    turn_.reset();
    pause_.stop();
    if (!socket_)
        return;
    socket_->close();
    socket_.release()->deleteLater();
}

/// All of the closed stream has had its result.
void SpeechConnection::complete() {
    tellGaps(next_);
    session_.stream->release(next_);
    finish();
    if (handlers_->stopped && !handlers_->ended)
        handlers_->stopped();
}

void SpeechConnection::finish() {
    dropSocket();
    // Another recognizer may have taken the stream over since.
    if (std::exchange(reads_, false))
        session_.stream->detach();
}

void SpeechConnection::cancel(const SpeechVerdict& verdict) {
    finish();
    if (handlers_->canceled && !handlers_->ended)
        handlers_->canceled({verdict.details, verdict.trouble});
}

} // namespace parlowen
