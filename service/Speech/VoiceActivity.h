#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

namespace parlowen::service {

/// Finds where somebody speaks in mono audio of 16 kHz, by loudness above an adaptive noise floor. A value: it keeps
/// no audio, only what it learnt about it.
class VoiceActivityDetector {
public:
    /// Lengths in frames of 10 ms, levels in decibels.
    struct Options {
        int onsetVoiced = 6;       ///< so many voiced frames among the last `onsetWindow` begin an utterance
        int onsetWindow = 10;      ///<
        int leadIn = 25;           ///< the utterance starts so long before its first voiced frame
        int hangover = 35;         ///< so much silence ends an utterance
        int hangoverWhenLong = 12; ///< the same for one that is longer than `patience`
        int patience = 1'200;      ///<
        int longest = 2'000;       ///< an utterance is cut here, wherever it is
        double onsetAbove = 10;    ///< a frame this far above the floor is voiced
        double offsetAbove = 7;    ///< within an utterance this is enough
        double lowestFloor = -66;  ///< against full scale
        double highestFloor = -34; ///<
    };

    /// Positions count samples since the first one fed.
    struct Event {
        enum class Kind { Start, End };
        Kind kind;
        std::int64_t at;      ///< where speech started (with its lead-in) or ended (without the silence after it)
        std::int64_t decided; ///< the end of the frame that told; no earlier than `at`
    };

    VoiceActivityDetector() = default;
    explicit VoiceActivityDetector(const Options& optionsToUse)
        : options(optionsToUse) {}

    static constexpr std::size_t frameLength = 160; ///< samples

    /// Takes any number of samples. Starts and ends alternate, an end never lies before its start.
    std::vector<Event> feed(std::span<const std::int16_t> samples);
    /// Ends an utterance that still runs, because the audio ended.
    std::optional<Event> finish();

    bool inSpeech() const { return speaking; }
    /// No later start will lie before this sample.
    std::int64_t earliestStart() const;

private:
    std::optional<Event> takeFrame();
    std::optional<Event> lookForStart();
    std::optional<Event> lookForEnd(double above);
    double levelOfFrame();
    void learnFloor(double level);
    std::int64_t frameStart(std::int64_t index) const { return index * static_cast<std::int64_t>(frameLength); }

    Options options;
    std::array<std::int16_t, frameLength> frame{};
    std::size_t filled = 0;    ///< samples in `frame`
    std::int64_t frames = 0;   ///< whole frames taken
    double previousIn = 0;     ///< of the filter that takes out hum and offset
    double previousOut = 0;    ///<
    std::deque<double> minima; ///< the lowest smoothed level of each of the last blocks
    double smoothed = 0;       ///< level
    double floorLevel = 0;
    std::deque<bool> recent; ///< whether the last frames were voiced, while nobody speaks
    bool speaking = false;
    int quiet = 0;                ///< silence so far, within an utterance
    std::int64_t startFrame = 0;  ///< of the utterance
    std::int64_t lastVoiced = 0;  ///< frame
    std::int64_t previousEnd = 0; ///< frame after the last utterance
};

} // namespace parlowen::service
