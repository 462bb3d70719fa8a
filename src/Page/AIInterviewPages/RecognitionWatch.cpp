#include "RecognitionWatch.h"

#include <Foundation/MainQueue.h>
#include <Tools/AzTokenNewManager.h>
#include <Tools/SpeechRecognitionTool.h>

#include <cmath>
#include <utility>

namespace parlowen {

namespace {

using State = RecognitionStatus::State;
using Cause = RecognitionStatus::Cause;

constexpr std::chrono::seconds tickLength{1};
constexpr int longestReply = 15; // ticks until a token that was asked for does not come

} // namespace

RecognitionWatch::RecognitionWatch(SessionStatus* status, QObject* parent)
    : QObject(parent)
    , status_(status) {}

void RecognitionWatch::begin(std::weak_ptr<AzTokenNewManager> tokens) {
    tokens_ = std::move(tokens);
    connect(&tick_, &QTimer::timeout, this, [this] {
        tell();
        askForTokenAgain();
    });
    tick_.start(tickLength);
    tell();
}

void RecognitionWatch::follow(const std::shared_ptr<SpeechRecognitionTool>& tool) {
    tool_ = tool;
    SpeechRecognitionTool::Follower follower;
    follower.status = [self = QPointer(this)](const RecognitionStatus& status) {
        if (self)
            self->recognitionIs(status);
    };
    follower.tokenNeeded = [tokens = tokens_] {
        if (const auto manager = tokens.lock())
            manager->renewToken();
    };
    follower.missed = [self = QPointer(this)](double seconds) {
        onMain(self, [self, seconds] { self->count(seconds); });
    };
    tool->follow(std::move(follower));
    if (status_ != nullptr)
        connect(status_, &SessionStatus::missed, this, &RecognitionWatch::gapInCapture);
}

void RecognitionWatch::end() {
    ended_ = true;
    tick_.stop();
    tool_.reset();
}

void RecognitionWatch::recognitionIs(const RecognitionStatus& status) {
    if (ended_)
        return;
    const bool stops = status.state == State::Stopped && recognition_.state != State::Stopped;
    recognition_ = status;
    tell();
    if (stops)
        Q_EMIT stopped(status.details.here());
}

void RecognitionWatch::tell() {
    if (tool_)
        recognition_.waitingSeconds = static_cast<int>(tool_->waitingSeconds());
    if (status_ == nullptr || ended_)
        return;
    RecognitionStatus told = recognition_;
    const bool outOfReach = told.state == State::Reconnecting && told.cause == Cause::NoNetwork;
    if (serviceStarting_ && (outOfReach || told.state == State::Starting || told.cause == Cause::TokenMissing))
        told.cause = Cause::LocalServiceStarts;
    status_->setRecognition(told);
}

void RecognitionWatch::setServiceStarting(bool starting) {
    serviceStarting_ = starting;
    tell();
}

bool RecognitionWatch::waitsForToken() const {
    const Cause cause = recognition_.cause;
    return !tool_ || cause == Cause::TokenRefused || cause == Cause::Denied || cause == Cause::TokenMissing;
}

// A request whose sign-in is refused has no reply.
void RecognitionWatch::askForTokenAgain() {
    const bool waits = waitsForToken() && (!tool_ || recognition_.state == State::Reconnecting);
    withoutToken_ = waits ? withoutToken_ + 1 : 0;
    if (withoutToken_ == 0 || withoutToken_ % longestReply != 0)
        return;
    if (const auto manager = tokens_.lock())
        manager->renewToken();
}

void RecognitionWatch::tokenDidFail() {
    if (waitsForToken() && recognition_.state != State::Stopped)
        recognitionIs({State::Reconnecting,
                       Cause::TokenMissing,
                       {QStringLiteral("The backend gives no speech token: check the network and the backend"),
                        QStringLiteral("后端没有给出语音令牌：请检查网络和后端")},
                       0});
}

// What is on its way to the service was heard before it.
void RecognitionWatch::gapInCapture(double seconds) {
    if (tool_ && recognition_.state != State::Stopped)
        tool_->noteGap(seconds);
}

void RecognitionWatch::count(double seconds) {
    uncounted_ += seconds;
    const int whole = static_cast<int>(std::lround(uncounted_));
    uncounted_ -= whole;
    if (whole != 0)
        Q_EMIT missed(whole);
}

} // namespace parlowen

#include "moc_RecognitionWatch.cpp"
