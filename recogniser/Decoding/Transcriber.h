#pragma once

#include "Library/SherpaLibrary.h"
#include "Models/ModelFolder.h"

#include <memory>
#include <optional>
#include <span>
#include <string>

namespace parlowen::recogniser {

struct Transcript {
    std::string text;
    int tokens = 0; ///< that the model spent on it
};

/// A piece of speech to text. Thread-safe: several threads may decode at the same time.
class Transcriber {
public:
    virtual ~Transcriber() = default;
    /// Mono, 16 kHz, -1 to 1.
    virtual Transcript transcribe(std::span<const float> samples) = 0;
};

/// A model of a family that does not stream. Throws std::runtime_error when it cannot be loaded. A model that is
/// broken in other ways may end the process.
std::unique_ptr<Transcriber> loadTranscriber(const SherpaLibrary& library, const ModelFolder& model);

/// The words of speech that goes on; of a loop, or of more than can be spoken, those before. None when that leaves
/// none.
std::optional<std::string> partialText(Transcriber& transcriber, std::span<const float> samples);

/// The words of finished speech. A loop is decoded anew in two halves, or else collapsed.
std::string finalText(Transcriber& transcriber, std::span<const float> samples);

} // namespace parlowen::recogniser
