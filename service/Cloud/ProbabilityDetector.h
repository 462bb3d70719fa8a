#pragma once

#include <Streams/VoiceDetector.h>

#include <memory>

struct SpeexPreprocessState_;

namespace parlowen::service {

/// Finds voices by how far a sound stands out from the steady noise before it (the speech probability of speexdsp). It
/// needs no model. Noise that begins takes it one or two seconds; music is a voice to it.
class ProbabilityDetector : public recogniser::VoiceDetector {
public:
    ProbabilityDetector();

    bool feed(const Window& window) override;

private:
    const std::unique_ptr<SpeexPreprocessState_, void (*)(SpeexPreprocessState_*)> state_;
    int likelyInARow_ = 0; ///< windows
    bool voice_ = false;
};

} // namespace parlowen::service
