#include "SPXSpeechRecognizer.h"

#include "SPXSpeechConfiguration.h"
#include "SpeechSession.h"

namespace parlowen {

std::unique_ptr<SPXSpeechRecognizer> SPXSpeechRecognizer::make(const SPXSpeechConfiguration& configuration,
                                                               const SPXAudioConfiguration& audio, QString* error) {
    auto session = makeSpeechSession(configuration, {}, audio, error);
    if (!session)
        return nullptr;
    return std::unique_ptr<SPXSpeechRecognizer>(new SPXSpeechRecognizer(std::move(session)));
}

} // namespace parlowen
