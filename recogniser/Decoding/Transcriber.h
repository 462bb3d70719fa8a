#pragma once

#include "Library/SherpaLibrary.h"
#include "Models/ModelFolder.h"
#include "Protocol/Frames.h"
#include "TokenSearch.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace parlowen::recogniser {

struct Transcript {
    std::string text;
    std::size_t tokens = 0; ///< that the model spent on it
    std::size_t sure = 0;   ///< bytes of the text, up to the first word that is likelier to be another
    Tokens draft;           ///< for the next time, when the same speech goes on; empty where a model cannot use it
};

enum class Search { Fast, Thorough };

/// A piece of speech to text. Thread-safe: several threads may decode at the same time.
class Transcriber {
public:
    static constexpr std::size_t fewestSamples = sampleRate * 6 / 100; ///< no text is in less

    virtual ~Transcriber() = default;
    /// Mono, 16 kHz, -1 to 1. A draft that holds saves most of the time. It may leave another text where two are about
    /// as likely: networks of 8 bits compute many tokens at once a little otherwise than one after the other.
    virtual Transcript transcribe(std::span<const float> samples, Search search, const Tokens& draft) = 0;
};

/// A model of a family that does not stream, the way that hears best. Throws std::runtime_error when it cannot be
/// loaded. A model that is broken in other ways may end the process.
std::unique_ptr<Transcriber> loadTranscriber(const SherpaLibrary& library, const ModelFolder& model);

/// As the library decodes it: each next token the likeliest one, however fast or thorough.
std::unique_ptr<Transcriber> loadBareTranscriber(const SherpaLibrary& library, const ModelFolder& model);

/// The words of speech that goes on; of a loop, or of more than can be spoken, those before. None when that leaves
/// none. The draft is of what was heard of the same speech before, and then of this.
std::optional<std::string> partialText(Transcriber& transcriber, std::span<const float> samples, Tokens& draft);

/// The words of finished speech; the same of the same samples each time. A loop is decoded anew in two halves, or else
/// collapsed.
std::string finalText(Transcriber& transcriber, std::span<const float> samples);

/// Without blanks around it.
std::string trimmed(std::string_view text);

} // namespace parlowen::recogniser
