#include "SpeechSession.h"

#include "SPXAudioConfiguration.h"
#include "SPXSpeechConfiguration.h"

namespace parlowen {

std::unique_ptr<SpeechSession> makeSpeechSession(const SPXSpeechConfiguration& configuration,
                                                 const QStringList& targets, const SPXAudioConfiguration& audio,
                                                 QString* error) {
    const bool hasLanguage = !configuration.speechRecognitionLanguage().isEmpty();
    if (!hasLanguage || !audio.stream() || targets.contains(QString())) {
        if (error)
            *error = !hasLanguage      ? "The recognition language is missing"
                     : !audio.stream() ? "The audio stream is missing"
                                       : "A target language is empty";
        return nullptr;
    }
    return std::make_unique<SpeechSession>(SpeechSession{{configuration.speechRecognitionLanguage(), targets},
                                                         configuration.authorizationToken(),
                                                         configuration.endpoint(),
                                                         audio.stream(),
                                                         configuration.firstReconnectPause(),
                                                         configuration.answerTimeout()});
}

} // namespace parlowen
