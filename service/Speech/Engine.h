#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// Time in the audio of one stream: units of 100 ns from the stream's first sample.
using Ticks = std::int64_t;

inline constexpr int sampleRate = 16'000; ///< of all audio that engines take: mono, 16 bit, host byte order

constexpr Ticks ticksOfSamples(std::int64_t samples) { return samples * (10'000'000 / sampleRate); }

/// What a stream found in the audio.
struct RecognitionEvent {
    enum class Kind {
        SpeechStart, ///< somebody began to speak at `offset`
        Partial,     ///< the words so far of the utterance; `text` is ready for display
        Final,       ///< the utterance as it stays; `text` is empty when no word was understood
        SpeechEnd,   ///< the last speech ended at `offset`; comes once, after finish() and the last final
        Drained,     ///< accept() said false before and may be called again
        Failed,      ///< the engine cannot go on; `text` says why, for the log; nothing follows
    };
    Kind kind = Kind::Partial;
    std::string text;
    Ticks offset = 0;
    Ticks duration = 0;
    double confidence = 0;        ///< of a final, 0 to 1
    std::string status = "Error"; ///< of a failure, as clients are told it; after "TooManyRequests" they come back, too
};

/// Called on the engine's threads, one call at a time for a stream and in the order of the audio. It must not block.
using RecognitionSink = std::function<void(RecognitionEvent)>;

/// One turn's audio on its way through an engine. Destroying it ends the work; an event or two may still arrive
/// meanwhile.
class RecognitionStream {
public:
    virtual ~RecognitionStream() = default;
    /// Takes audio of any length; never blocks. False asks the caller to wait for `Drained` before it sends more: the
    /// audio was taken all the same.
    virtual bool accept(std::span<const std::int16_t> samples) = 0;
    /// No more audio will come: the running utterance is finished, then `SpeechEnd` follows.
    virtual void finish() = 0;
};

/// Speech to text for the locales that it offers. Thread-safe.
class RecognitionEngine {
public:
    virtual ~RecognitionEngine() = default;
    /// BCP 47, such as "en-US".
    virtual std::vector<std::string> locales() const = 0;
    /// Null when the locale is not offered or the engine has no room for one more stream.
    virtual std::unique_ptr<RecognitionStream> open(std::string_view locale, RecognitionSink sink) = 0;
};

/// A direction of translation, as language codes without a region, such as {"en", "es"}.
struct LanguagePair {
    std::string from;
    std::string to;
    friend bool operator==(const LanguagePair&, const LanguagePair&) = default;
};

/// Text to text for the pairs that it offers. Thread-safe.
class Translator {
public:
    virtual ~Translator() = default;
    virtual std::vector<LanguagePair> pairs() const = 0;
    /// Whether it takes too long for texts that still grow.
    virtual bool isForFinalsAlone() const { return false; }
    using Done = std::function<void(std::optional<std::string>)>;
    /// `done` gets the translation, or none when the pair is not offered or it failed: once, within a bounded time, on
    /// any thread, perhaps before this returns. What comes back drops it, and then `done` may never be called; empty:
    /// it is over already. A worker's thread calls this, which is not held up by what is done elsewhere.
    virtual std::function<void()> translate(const LanguagePair& pair, std::string_view text, Done done) = 0;
    /// Translations that run fail soon, and those that follow at once. Any thread.
    virtual void stop() {}
};

/// What a set of engines can do for a session.
struct OfferedLanguages {
    std::vector<std::string> recognition;  ///< locales that are recognised, each once
    std::vector<LanguagePair> translation; ///< pairs whose source is the language of one of those locales
};

/// The engines that the service runs with. Filled at start, then only read.
class EngineSet {
public:
    /// Of several that offer a locale the first one serves it.
    void add(std::shared_ptr<RecognitionEngine> engine);
    void addFirst(std::shared_ptr<RecognitionEngine> engine);
    void add(std::shared_ptr<Translator> translator);

    /// Null when no engine offers the locale (compared without case).
    std::shared_ptr<RecognitionEngine> engineFor(std::string_view locale) const;
    /// Null when nothing translates this pair.
    std::shared_ptr<Translator> translatorFor(const LanguagePair& pair) const;
    OfferedLanguages languages() const;
    /// Gives up what blocks.
    void stop() const;

private:
    std::vector<std::shared_ptr<RecognitionEngine>> engines_;
    std::vector<std::shared_ptr<Translator>> translators_;
};

/// The language of a locale in lower case: "en" of "en-US".
std::string primarySubtag(std::string_view locale);

} // namespace parlowen::service
