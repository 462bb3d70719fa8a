#include "SPXRecognizer.h"

#include <utility>

#include "SpeechConnection.h"
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

void SPXRecognizer::addSessionStoppedEventHandler(SPXSessionStoppedHandler handler) {
    handlers_->stopped = std::move(handler);
}

Result<void> SPXRecognizer::startContinuousRecognition() {
    const auto session = std::exchange(session_, nullptr);
    if (!session)
        return failure("The recognizer was started before");
    thread_ = SpeechThread::make(std::move(*session), handlers_);
    if (!thread_)
        return failure("The audio stream feeds another recognizer already");
    // Last, since from here on a handler may destroy this object.
    thread_->run();
    return {};
}

template<class Recognizer>
Result<std::unique_ptr<Recognizer>> SPXRecognizer::makeOne(const SPXSpeechConfiguration& configuration,
                                                           const QStringList& targets,
                                                           const SPXAudioConfiguration& audio) {
    const QString& language = configuration.speechRecognitionLanguage();
    if (language.isEmpty())
        return failure("The recognition language is missing");
    if (!audio.stream())
        return failure("The audio stream is missing");
    if (targets.contains(QString()))
        return failure("A target language is empty");
    auto session = std::make_unique<SpeechSession>(SpeechSession{{language, targets}, configuration, audio.stream()});
    return std::unique_ptr<Recognizer>(new Recognizer(std::move(session)));
}

Result<std::unique_ptr<SPXSpeechRecognizer>> SPXSpeechRecognizer::make(const SPXSpeechConfiguration& configuration,
                                                                       const SPXAudioConfiguration& audio) {
    return makeOne<SPXSpeechRecognizer>(configuration, {}, audio);
}

Result<std::unique_ptr<SPXTranslationRecognizer>>
SPXTranslationRecognizer::make(const SPXSpeechTranslationConfiguration& configuration,
                               const SPXAudioConfiguration& audio) {
    if (configuration.targetLanguages().isEmpty())
        return failure("The target language is missing");
    return makeOne<SPXTranslationRecognizer>(configuration, configuration.targetLanguages(), audio);
}

} // namespace parlowen
