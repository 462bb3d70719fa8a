#pragma once

#include "SPXRecognizer.h"

namespace parlowen {

class SPXSpeechTranslationConfiguration;

/// Recognizes speech of one language and translates it into the configuration's targets.
class SPXTranslationRecognizer : public SPXRecognizer {
public:
    /// Null, with a text in `error`, when the configuration has no language or no target, or the audio no stream.
    static std::unique_ptr<SPXTranslationRecognizer> make(const SPXSpeechTranslationConfiguration& configuration,
                                                          const SPXAudioConfiguration& audio, QString* error);

private:
    using SPXRecognizer::SPXRecognizer;
};

} // namespace parlowen
