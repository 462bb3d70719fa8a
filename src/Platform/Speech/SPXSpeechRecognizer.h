#pragma once

#include "SPXRecognizer.h"

namespace parlowen {

/// Recognizes speech of one language.
class SPXSpeechRecognizer : public SPXRecognizer {
public:
    /// Null, with a text in `error`, when the configuration has no language or the audio no stream.
    static std::unique_ptr<SPXSpeechRecognizer> make(const SPXSpeechConfiguration& configuration,
                                                     const SPXAudioConfiguration& audio, QString* error);

private:
    using SPXRecognizer::SPXRecognizer;
};

} // namespace parlowen
