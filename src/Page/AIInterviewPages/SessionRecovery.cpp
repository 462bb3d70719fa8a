#include "AIInterviewDetailController.h"
#include "TranscriptModel.h"

#include <Foundation/MainQueue.h>
#include <Tools/SpeechRecognitionTool.h>

#include <cmath>

/// How a session follows its recognition: its state, what is missing, new tokens.
namespace parlowen {

namespace {

using State = RecognitionStatus::State;
using Cause = RecognitionStatus::Cause;

constexpr std::chrono::seconds tick{1};
constexpr int longestReply = 15; // ticks until a token that was asked for does not come

} // namespace

void AIInterviewDetailController::followRecognition() {
    SpeechRecognitionTool::Follower follower;
    follower.status = [page = QPointer(this)](const RecognitionStatus& status) {
        if (page)
            page->recognitionIs(status);
    };
    follower.tokenNeeded = [tokens = std::weak_ptr(azTokenManager_)] {
        if (const auto manager = tokens.lock())
            manager->renewToken();
    };
    follower.missed = [page = QPointer(this)](double seconds) {
        onMain(page, [page, seconds] { page->markMissed(seconds); });
    };
    speechTool_->follow(std::move(follower));
    if (services_.status != nullptr)
        connect(services_.status, &SessionStatus::missed, this, &AIInterviewDetailController::gapInCapture);
    connect(&recognitionTick_, &QTimer::timeout, this, [this] {
        tellRecognition();
        askForTokenAgain();
    });
    recognitionTick_.start(tick);
}

void AIInterviewDetailController::recognitionIs(const RecognitionStatus& status) {
    if (isClosing_)
        return;
    const bool stops = status.state == State::Stopped && recognition_.state != State::Stopped;
    recognition_ = status;
    tellRecognition();
    if (stops && observer_.recognitionError)
        observer_.recognitionError(status.details.here());
}

void AIInterviewDetailController::tellRecognition() {
    if (speechTool_)
        recognition_.waitingSeconds = static_cast<int>(speechTool_->waitingSeconds());
    if (services_.status == nullptr)
        return;
    RecognitionStatus told = recognition_;
    const bool outOfReach = told.state == State::Reconnecting && told.cause == Cause::NoNetwork;
    if (serviceStarting_ && (outOfReach || told.state == State::Starting || told.cause == Cause::TokenMissing))
        told.cause = Cause::LocalServiceStarts;
    services_.status->setRecognition(told);
}

void AIInterviewDetailController::setServiceStarting(bool starting) {
    serviceStarting_ = starting;
    if (!isClosing_)
        tellRecognition();
}

bool AIInterviewDetailController::waitsForToken() const {
    const Cause cause = recognition_.cause;
    return !speechTool_ || cause == Cause::TokenRefused || cause == Cause::Denied || cause == Cause::TokenMissing;
}

// A request whose sign-in is refused has no reply.
void AIInterviewDetailController::askForTokenAgain() {
    withoutToken_ = waitsForToken() && recognition_.state == State::Reconnecting ? withoutToken_ + 1 : 0;
    if (withoutToken_ > 0 && withoutToken_ % longestReply == 0 && azTokenManager_)
        azTokenManager_->renewToken();
}

void AIInterviewDetailController::tokenDidFail() {
    if (waitsForToken() && recognition_.state != State::Stopped)
        recognitionIs({State::Reconnecting,
                       Cause::TokenMissing,
                       {"The backend gives no speech token: check the network and the backend",
                        "后端没有给出识别令牌：请检查网络和后端"},
                       0});
}

// What is on its way to the service was heard before it.
void AIInterviewDetailController::gapInCapture(double seconds) {
    if (speechTool_ && recognition_.state != State::Stopped)
        speechTool_->noteGap(seconds);
}

void AIInterviewDetailController::markMissed(double seconds) {
    unmarked_ += seconds;
    const int whole = static_cast<int>(std::lround(unmarked_));
    if (whole == 0)
        return;
    unmarked_ -= whole;
    reloadTranscript([&] { transcript_->markMissed(whole); });
    if (!isClosing_ && observer_.missed)
        observer_.missed(whole);
}

} // namespace parlowen
