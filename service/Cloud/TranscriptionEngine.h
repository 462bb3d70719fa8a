#pragma once

#include "Speech/Engine.h"
#include "Transcription.h"

namespace parlowen::service {

/// Recognition by a transcription endpoint. What is said is cut into utterances here, as for the recogniser's models,
/// and each is sent as a whole: again and again while it goes on, as often as the endpoint's pace allows, and once for
/// the words that stay. A stream has one request under way at most; one for words that stay ends any other.
///
/// What fails for words that stay is tried once more, after the pause that a busy endpoint asks for. Then the stream
/// fails, so that its client comes back with the same audio. Where the endpoint took audio of a stream before, what it
/// does not take counts as no word.
class TranscriptionEngine : public RecognitionEngine {
public:
    /// How long things may take.
    struct Pace {
        std::chrono::milliseconds retry{500};           ///< before what failed is sent again
        std::chrono::milliseconds longestPause{10'000}; ///< that is waited for; a longer one is a failure
        std::chrono::milliseconds slowest{1'500};       ///< above which what is still being said is not sent
        std::chrono::milliseconds calm{5'000};          ///< without such requests after one that failed
    };

    explicit TranscriptionEngine(TranscriptionEndpoint endpoint)
        : TranscriptionEngine(std::move(endpoint), Pace()) {}
    TranscriptionEngine(TranscriptionEndpoint endpoint, Pace pace);
    ~TranscriptionEngine() override;

    std::vector<std::string> locales() const override;
    std::unique_ptr<RecognitionStream> open(std::string_view locale, RecognitionSink sink) override;

private:
    struct Core;
    std::unique_ptr<Core> core_;
};

} // namespace parlowen::service
