#include "SpeechRecognitionTool.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Speech/SpeechEndpoint.h>

#include <utility>

/// How a recognizer is set up, and what follows when one cannot be or is canceled.
namespace parlowen {

namespace {

using State = RecognitionStatus::State;
using Cause = RecognitionStatus::Cause;

Cause causeOf(SPXTrouble trouble) {
    switch (trouble) {
    case SPXTrouble::NoConnection:
        return Cause::NoNetwork;
    case SPXTrouble::Busy:
        return Cause::ServiceBusy;
    case SPXTrouble::ServiceFailed:
        return Cause::ServiceFailed;
    case SPXTrouble::TokenRefused:
        return Cause::TokenRefused;
    case SPXTrouble::Denied:
        return Cause::Denied;
    case SPXTrouble::SessionRefused:
    case SPXTrouble::BadSettings:
        return Cause::BadSettings;
    case SPXTrouble::NoSuchService:
        return Cause::NoSuchService;
    case SPXTrouble::UntrustedService:
        return Cause::UntrustedService;
    }
    return Cause::ServiceFailed;
}

} // namespace

void SpeechRecognitionTool::setUp(bool isAgain) {
    std::unique_ptr<SPXSpeechRecognizer> recognizer; // end after the lock
    std::unique_ptr<SPXTranslationRecognizer> translationRecognizer;
    std::optional<QString> problem;
    {
        const std::lock_guard lock(mutex_);
        if (isAgain && !isRecognizing_)
            return;
        recognizer = std::move(recognizer_);
        translationRecognizer = std::move(translationRecognizer_);
        problem = setUpLocked();
    }
    if (problem)
        setUpFailed(*problem);
}

std::optional<QString> SpeechRecognitionTool::setUpLocked() {
    ++recognizers_;
    usedToken_ = token_;
    needsToken_ = false;
    if (auto problem = setUp_())
        return problem;
    QString error;
    const bool started = recognizer_ ? recognizer_->startContinuousRecognition(&error)
                                     : translationRecognizer_->startContinuousRecognition(&error);
    return started ? std::nullopt : std::optional(error);
}

void SpeechRecognitionTool::setUpFailed(const QString& description) {
    consoleLog("[SpeechRecognitionTool] " + QString(setUpTexts_.logged) + description);
    call(onErrorCallback_, QString(setUpTexts_.reported) + description);
    if (!SpeechEndpoint::make(*region_, nullptr))
        report(State::Stopped, Cause::NoSuchService, description);
    else if (!SPXSpeechConfiguration::make(*token_, *region_, nullptr))
        needToken(Cause::TokenMissing, description);
    else
        report(State::Stopped, Cause::BadSettings, description);
}

void SpeechRecognitionTool::addFateHandlers(SPXRecognizer& recognizer) {
    const auto tool = shared_from_this();
    const auto onMainWith = [weak = std::weak_ptr(tool), id = recognizers_](auto work) {
        onMain(weak, [id, work = std::move(work)](SpeechRecognitionTool& self) {
            if (self.isRecognizing_ && id == self.recognizers_)
                work(self);
        });
    };
    recognizer.addCanceledEventHandler([tool, onMainWith](const SPXCanceledEvent& event) {
        call(tool->onErrorCallback_, cancellationText(event));
        onMainWith([event](SpeechRecognitionTool& self) { self.recover(event); });
    });
    recognizer.addConnectionEventHandler([onMainWith](const SPXConnectionEvent& event) {
        onMainWith([event](SpeechRecognitionTool& self) {
            if (event.connected)
                self.report(State::Recognizing);
            else
                self.report(State::Reconnecting, causeOf(event.trouble), event.details);
        });
    });
    recognizer.addGapEventHandler([tool](const SPXGapEvent& event) { call(tool->follower_.missed, event.seconds); });
}

void SpeechRecognitionTool::recover(const SPXCanceledEvent& event) {
    const QString details = cancellationText(event);
    const bool mayBeTheToken = event.trouble == SPXTrouble::SessionRefused && !isRenewed_;
    if (event.trouble == SPXTrouble::TokenRefused || event.trouble == SPXTrouble::Denied)
        renew(causeOf(event.trouble), details);
    else if (mayBeTheToken)
        renew(Cause::TokenRefused, details);
    else
        report(State::Stopped, causeOf(event.trouble), details);
}

void SpeechRecognitionTool::renew(Cause cause, const QString& details) {
    if (token_ == usedToken_)
        return needToken(cause, details);
    report(State::Reconnecting, cause, details);
    isRenewed_ = true;
    setUp(true);
}

void SpeechRecognitionTool::needToken(Cause cause, const QString& details) {
    needsToken_ = true;
    report(State::Reconnecting, cause, details);
    call(follower_.tokenNeeded);
}

void SpeechRecognitionTool::updateToken(QString token) {
    token_ = std::move(token);
    if (!needsToken_)
        return;
    isRenewed_ = true;
    setUp(true);
}

void SpeechRecognitionTool::report(State state, Cause cause, const QString& details) const {
    call(follower_.status, RecognitionStatus{state, cause, details, 0});
}

} // namespace parlowen
