#pragma once

#include <Wire/SpeechMessage.h>

#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "SPXRecognitionResult.h"
#include "SpeechVerdict.h"

namespace parlowen {

struct SpeechReply;

/// What is asked of the service.
struct SpeechTask {
    QString language;    ///< the locale that is spoken, such as "zh-CN"
    QStringList targets; ///< languages to translate into, such as "en"; none for plain recognition

    bool translates() const { return !targets.isEmpty(); }
};

/// What a turn has to tell.
struct SpeechEvent {
    enum class Kind { Partial, Final, Canceled, TurnEnded };

    Kind kind;
    SPXRecognitionResult result;        ///< of Partial and Final
    std::optional<std::uint64_t> begin; ///< of Partial and Final: position of the first byte that was heard
    SpeechVerdict verdict;              ///< of Canceled
};

/// The protocol state of one turn: messages in, events out, and the messages to send. A value that knows no socket.
///
/// Positions count the bytes of all audio of the session, from 0. Within a turn the service counts time in units of
/// 100 ns from the turn's first audio byte (16 kHz, 16 bit, mono).
class SpeechTurn {
public:
    /// A turn whose audio begins at the position `firstByte`.
    SpeechTurn(SpeechTask task, std::string requestId, std::uint64_t firstByte);

    /// What opens a connection: which client this is.
    wire::SpeechMessage configuration() const;
    /// What opens the turn: the task, then the header of the audio.
    std::vector<wire::SpeechMessage> opening() const;
    /// The next piece of audio, at most wire::maxPayload bytes.
    wire::SpeechMessage audio(std::string_view pcm);
    /// So many bytes before the next piece are never sent.
    void skip(std::uint64_t bytes) { skips_.emplace_back(sent_, bytes); }
    /// The end of the audio.
    wire::SpeechMessage endOfAudio();

    /// Takes a message of the service. Messages of another turn, or unknown ones, give no event.
    std::vector<SpeechEvent> feed(const wire::SpeechMessage& message);

    /// True once endOfAudio() was asked for.
    bool audioEnded() const { return audioEnded_; }
    /// True once the service has ended the turn.
    bool hasEnded() const { return ended_; }
    /// The position up to which the service has given final results: from there audio must be sent again after a drop.
    std::uint64_t resumeAt() const { return resumeAt_; }

private:
    std::uint64_t positionOf(std::uint64_t ticks) const;
    std::optional<std::uint64_t> beginOf(const SpeechReply& reply) const;
    wire::SpeechMessage message(const char* path, const char* contentType, std::string body, bool binary) const;
    std::vector<SpeechEvent> onFinal(const SpeechReply& reply);
    SPXRecognitionResult resultOf(const SpeechReply& reply) const;

    SpeechTask task_;
    std::string requestId_;
    std::uint64_t firstByte_;
    std::uint64_t resumeAt_;
    std::uint64_t sent_ = 0;                                     ///< bytes of audio in this turn
    std::vector<std::pair<std::uint64_t, std::uint64_t>> skips_; ///< bytes sent before each, and its length
    bool audioEnded_ = false;
    bool ended_ = false;
};

} // namespace parlowen
