#include "SPXRecognizer.h"

#include <utility>

#include "SpeechSession.h"
#include "SpeechThread.h"

namespace parlowen {

SPXRecognizer::SPXRecognizer(std::unique_ptr<SpeechSession> session)
    : session_(std::move(session))
    , handlers_(std::make_shared<SpeechHandlers>()) {}

SPXRecognizer::~SPXRecognizer() = default;

void SPXRecognizer::addRecognizingEventHandler(SPXRecognitionEventHandler handler) {
    handlers_->recognizing = std::move(handler);
}

void SPXRecognizer::addRecognizedEventHandler(SPXRecognitionEventHandler handler) {
    handlers_->recognized = std::move(handler);
}

void SPXRecognizer::addCanceledEventHandler(SPXCanceledEventHandler handler) {
    handlers_->canceled = std::move(handler);
}

void SPXRecognizer::addConnectionEventHandler(SPXConnectionEventHandler handler) {
    handlers_->connection = std::move(handler);
}

void SPXRecognizer::addGapEventHandler(SPXGapEventHandler handler) { handlers_->gap = std::move(handler); }

bool SPXRecognizer::startContinuousRecognition(QString* error) {
    const char* problem = "The recognizer was started before";
    if (const auto session = std::exchange(session_, nullptr)) {
        thread_ = SpeechThread::make(std::move(*session), handlers_);
        problem = thread_ ? nullptr : "The audio stream feeds another recognizer already";
    }
    if (problem && error)
        *error = problem;
    // Last, since from here on a handler may destroy this object.
    if (!problem)
        thread_->run();
    return problem == nullptr;
}

} // namespace parlowen
