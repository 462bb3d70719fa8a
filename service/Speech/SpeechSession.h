#pragma once

#include "ServerMessages.h"
#include "TranslationLane.h"
#include "TurnSettings.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// The audio bytes of a turn become samples: an optional RIFF/WAVE header of 44 bytes, then 16 bit little-endian PCM,
/// cut anywhere. A value.
class PcmInput {
public:
    /// The samples that are whole now; none when the header names another format than mono PCM of 16 kHz and 16 bit.
    std::optional<std::vector<std::int16_t>> feed(std::string_view bytes);

private:
    bool headerDone_ = false;
    std::string rest_; ///< bytes that are no whole sample, or not yet a whole header
};

/// The speech protocol of one connection: frames in, frames out, turn by turn; it knows no socket. Every call, and
/// every posted function, runs on the connection's own executor.
class SpeechSession {
public:
    struct Hooks {
        std::function<void(std::string)> send;           ///< the payload of a text frame
        std::function<void(std::function<void()>)> post; ///< from any thread to the connection's executor;
                                                         ///< dropped once the session is gone
        std::function<void()> resume;                    ///< isFull() turned false
        boost::asio::any_io_executor workers;            ///< where translation may block
        std::function<void()> refused = {};              ///< the engine has no room for a turn; may be empty
    };
    /// How the connection has to end.
    struct Close {
        std::uint16_t code;
        std::string reason; ///< at most 123 bytes
    };

    SpeechSession(const EngineSet& engines, TurnSettings settings, Hooks hooks);
    ~SpeechSession();
    SpeechSession(const SpeechSession&) = delete;
    SpeechSession& operator=(const SpeechSession&) = delete;

    std::optional<Close> onText(std::string_view frame);
    std::optional<Close> onBinary(std::string_view frame);
    /// Enough audio waits for the engine: read no further frame until `resume`.
    bool isFull() const { return full_; }
    /// Samples that turns were given.
    std::uint64_t heard() const { return heard_; }

private:
    struct Turn;

    std::optional<Close> beginTurn(std::string_view id, const TurnSettings& turnSettings);
    std::optional<Close> takeAudio(const wire::SpeechMessage& message);
    std::optional<Close> giveToEngine(std::string_view bytes);
    void openStream(TurnEngines turnEngines);
    void onEvent(std::uint64_t number, const RecognitionEvent& event);
    void onResult(const RecognitionEvent& event);
    void onTranslated(std::uint64_t number, const RecognitionEvent& event,
                      const std::vector<Translation>& translations);
    void endTurn();
    void endTurnWith(std::string_view status);
    void setFull(bool isSo);
    void send(const wire::SpeechMessage& message) { hooks_.send(wire::encode(message)); }

    const EngineSet& engines_;
    const Hooks hooks_;
    TurnSettings settings_; ///< of the connection, then as the last context left them
    const TurnSettings connectionSettings_;
    std::unique_ptr<Turn> turn_;
    std::uint64_t turns_ = 0;
    std::optional<std::string> endedId_; ///< of the last turn that ended: audio that still arrives for it is dropped
    std::uint64_t heard_ = 0;
    bool full_ = false;
};

} // namespace parlowen::service
