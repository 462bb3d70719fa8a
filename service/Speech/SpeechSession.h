#pragma once

#include "PcmInput.h"
#include "ServerMessages.h"
#include "TranslationLane.h"
#include "TurnSettings.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::service {

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
    };
    /// How the connection has to end.
    struct Close {
        std::uint16_t code;
        std::string reason; ///< at most 123 bytes
    };

    SpeechSession(const EngineSet& enginesToUse, TurnSettings settingsOfConnection, Hooks hooksToUse);
    ~SpeechSession();
    SpeechSession(const SpeechSession&) = delete;
    SpeechSession& operator=(const SpeechSession&) = delete;

    std::optional<Close> onText(std::string_view frame);
    std::optional<Close> onBinary(std::string_view frame);
    /// Enough audio waits for the engine: read no further frame until `resume`.
    bool isFull() const { return full; }

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
    void send(const wire::SpeechMessage& message) { hooks.send(wire::encode(message)); }

    const EngineSet& engines;
    const Hooks hooks;
    TurnSettings settings; ///< of the connection, then as the last context left them
    const TurnSettings connectionSettings;
    std::unique_ptr<Turn> turn;
    std::uint64_t turns = 0;
    std::optional<std::string> endedId; ///< of the last turn that ended: audio that still arrives for it is dropped
    bool full = false;
};

} // namespace parlowen::service
