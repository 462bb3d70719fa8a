#pragma once

#include "Decoding/SettledWords.h"
#include "Protocol/StreamEvent.h"
#include "VoiceDetector.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace parlowen::recogniser {

/// One stream's audio becomes utterances: where somebody speaks, what has to be decoded for it and when, and what is
/// told of it. It decodes nothing itself and knows no thread or clock; positions count samples.
///
/// A pause has the utterance decoded in advance: `closeDelay`, or, where the speech stands out clearly, as soon as
/// `decodedPause`, before it is known for one. That text chooses how long the pause must last, and is the final one
/// when it does. Speech of more than `longestPiece` is cut at its quietest place; its pieces become one utterance, up
/// to `longestUtterance`.
class UtteranceTracker {
public:
    using Clock = std::chrono::steady_clock;
    using Sink = std::function<void(StreamEvent)>;

    static constexpr std::int64_t preRoll = sampleRate * 35 / 100;
    static constexpr std::int64_t tail = sampleRate * 25 / 100; ///< at most, decoded after the end of speech
    static constexpr std::int64_t decodedPause = sampleRate * 16 / 100;
    static constexpr std::int64_t shortestSpeech = sampleRate * 3 / 10;
    static constexpr std::int64_t longestPiece = sampleRate * std::int64_t{10};
    static constexpr std::int64_t cutWithin = sampleRate * std::int64_t{3}; ///< at the end of a longest piece
    static constexpr std::int64_t longestUtterance = sampleRate * std::int64_t{20};
    static constexpr std::int64_t firstPartial = preRoll + sampleRate * 13 / 100; ///< of audio
    static constexpr std::int64_t partialEvery = sampleRate * 4 / 10;
    static constexpr std::int64_t partialAfterNothing = sampleRate * 6 / 100; ///< of what was not a word yet

    static constexpr std::int64_t fewestToSettle = sampleRate * 36 / 10; ///< decoded for words that stay

    /// Something to decode: audio[from, to).
    struct Job {
        enum class Kind { Piece, Pause, Partial }; ///< the first two are needed for a final
        Kind kind;
        std::uint64_t number;
        std::int64_t from;
        std::int64_t to;
        std::int64_t onset; ///< of the speech, `preRoll` after `from` at most; `from` where speech was cut
        bool isForFinal() const { return kind != Kind::Partial; }
    };

    /// The first sample has position `at`.
    UtteranceTracker(std::int64_t at, std::unique_ptr<VoiceDetector> voiceDetector, Sink sinkForEvents);

    void append(std::span<const std::int16_t> samples);
    void finish() { inputEnded_ = true; }
    /// Goes through the audio as far as it can: it waits for a text that decides, or while two pieces are undecoded.
    void advance();

    /// What is to be decoded next. It is the caller's until its result comes.
    std::optional<Job> nextFinalJob();
    std::optional<Job> nextPartialJob(Clock::time_point now);
    /// When there will be a partial job without more audio, now or later.
    std::optional<Clock::time_point> nextPartialTime() const;
    /// False once the result of a job that was handed out is of no use any more.
    bool wants(const Job& job) const;
    std::span<const std::int16_t> samplesOf(const Job& job) const;
    /// The words of a job; none when they were no good. `took`: the time it cost. Advances.
    void onText(const Job& job, std::optional<std::string> text, Clock::time_point now, Clock::duration took);

    std::int64_t taken() const { return position_; }
    /// Where a replay has to begin that loses nothing.
    std::int64_t needed() const;

private:
    enum class State { Quiet, Speaking, Pausing };
    struct Piece {
        std::uint64_t number;
        std::int64_t from;
        std::int64_t to;
        std::int64_t onset;
        std::optional<std::string> text;
        std::string guess; ///< shown until the text is there
        bool handedOut = false;
    };
    /// An utterance that is not told yet, or goes on.
    struct Utterance {
        std::int64_t speechFrom = 0;
        std::int64_t speechTo = 0;
        std::vector<Piece> pieces;
        bool closed = false;
        std::size_t undecoded() const {
            return static_cast<std::size_t>(
                std::count_if(pieces.begin(), pieces.end(), [](const Piece& piece) { return !piece.text; }));
        }
    };

    bool step();
    bool mustWait() const;
    void onWindow(bool voice);
    void beginSpeech();
    void whileSpeaking();
    void beginPause();
    bool isClear() const;
    void decodePause(std::int64_t to);
    void forgetPause();
    void resumeSpeech();
    void onPause();
    bool isFragment() const;
    std::int64_t wait() const;
    void cutSpeech();
    void beginSegment(std::int64_t from, std::int64_t onset);
    void addPiece(std::int64_t to, std::optional<std::string> text);
    void closeUtterance(std::int64_t pieceEnd);
    void endInput();
    void tellStart();
    void tellFinals();
    void tellPartial();
    std::string textOf(const Utterance& utterance) const;
    void dropAudio();
    std::int64_t end() const { return audioStart_ + static_cast<std::int64_t>(audio_.size()); }

    const std::unique_ptr<VoiceDetector> detector_;
    const Sink sink_;
    std::vector<std::int16_t> audio_;
    std::int64_t audioStart_;
    std::int64_t position_; ///< audio before it went through the detector
    bool inputEnded_ = false;
    bool told_ = false; ///< the end

    State state_ = State::Quiet;
    std::deque<Utterance> utterances_; ///< the last one goes on, unless it is closed
    std::int64_t segmentFrom_ = 0;     ///< of what is not yet a piece
    std::int64_t segmentOnset_ = 0;    ///< of the speech in it
    std::int64_t usedUpTo_;            ///< audio before it belongs to an utterance that is closed
    bool startTold_ = false;
    std::uint64_t jobs_ = 0;

    std::optional<Job> pauseJob_;          ///< while pausing, and where a pause may begin
    bool pauseHandedOut_ = false;          ///<
    std::optional<std::string> pauseText_; ///<

    SettledWords words_; ///< of the segment
    std::optional<Job> runningPartial_;
    std::int64_t nextPartialAt_ = 0;
    Clock::time_point partialNotBefore_{};
    std::string lastPartial_;
};

} // namespace parlowen::recogniser
