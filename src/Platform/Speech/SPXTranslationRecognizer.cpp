#include "SPXTranslationRecognizer.h"

#include "SPXSpeechConfiguration.h"
#include "SpeechSession.h"

namespace parlowen {

std::unique_ptr<SPXTranslationRecognizer>
SPXTranslationRecognizer::make(const SPXSpeechTranslationConfiguration& configuration,
                               const SPXAudioConfiguration& audio, QString* error) {
    auto session = makeSpeechSession(configuration, configuration.targetLanguages(), audio, error);
    if (session && !session->task.translates()) {
        session = nullptr;
        if (error)
            *error = "The target language is missing";
    }
    if (!session)
        return nullptr;
    return std::unique_ptr<SPXTranslationRecognizer>(new SPXTranslationRecognizer(std::move(session)));
}

} // namespace parlowen
