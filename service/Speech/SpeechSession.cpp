#include "SpeechSession.h"

#include "Http/Log.h"

#include <Wire/SpeechMessage.h>

namespace parlowen::service {

namespace {

using Kind = RecognitionEvent::Kind;

constexpr std::uint16_t invalidPayload = 1007;

SpeechSession::Close invalid(std::string_view reason) { return {invalidPayload, closeReason(reason)}; }

} // namespace

/// What runs between `speech.context` and `turn.end`.
struct SpeechSession::Turn {
    Turn(std::uint64_t numberOfTurn, std::string_view idOfTurn, const TurnSettings& turnSettings)
        : number(numberOfTurn)
        , id(idOfTurn)
        , settings(turnSettings)
        , messages(id.empty() ? wire::guidWithoutDashes() : id, settings) {}

    const std::uint64_t number;
    const std::string id; ///< as the client named it
    const TurnSettings settings;
    const ServerMessages messages;
    PcmInput input;
    bool inputEnded = false;
    bool speechStarted = false;
    std::shared_ptr<RecognitionEngine> engine; ///< before the stream, which must end first
    std::unique_ptr<RecognitionStream> stream;
    std::shared_ptr<TranslationLane> lane; ///< null for plain recognition

    ~Turn() {
        if (lane)
            lane->cancel();
    }
};

SpeechSession::SpeechSession(const EngineSet& enginesToUse, TurnSettings settingsOfConnection, Hooks hooksToUse)
    : engines(enginesToUse)
    , hooks(std::move(hooksToUse))
    , settings(settingsOfConnection)
    , connectionSettings(std::move(settingsOfConnection)) {}

SpeechSession::~SpeechSession() = default;

std::optional<SpeechSession::Close> SpeechSession::onText(std::string_view frame) {
    const auto message = wire::decodeText(frame);
    if (!message)
        return invalid("text message: " + message.error());
    if (message->path() != "speech.context")
        return std::nullopt;
    auto wanted = withContext(connectionSettings, message->body);
    if (!wanted)
        return invalid("speech.context is no JSON object");
    settings = std::move(*wanted);
    return beginTurn(message->requestId(), settings);
}

std::optional<SpeechSession::Close> SpeechSession::onBinary(std::string_view frame) {
    const auto message = wire::decodeBinary(frame);
    if (!message)
        return invalid("binary message: " + message.error());
    return message->path() == "audio" ? takeAudio(*message) : std::nullopt;
}

std::optional<SpeechSession::Close> SpeechSession::beginTurn(std::string_view id, const TurnSettings& turnSettings) {
    auto found = enginesFor(turnSettings, engines);
    if (const auto* problem = std::get_if<std::string>(&found))
        return invalid(*problem);
    turn.reset(); // one that still ran is given up
    turn = std::make_unique<Turn>(++turns, id, turnSettings);
    setFull(false);
    send(turn->messages.turnStart());
    openStream(std::move(std::get<TurnEngines>(found)));
    return std::nullopt;
}

void SpeechSession::openStream(TurnEngines turnEngines) {
    const auto number = turn->number;
    if (!turnEngines.translations.empty())
        turn->lane = std::make_shared<TranslationLane>(
            hooks.workers, std::move(turnEngines.translations),
            [this, post = hooks.post, number](RecognitionEvent event, std::vector<Translation> translations) {
                post([this, number, event = std::move(event), translations = std::move(translations)] {
                    onTranslated(number, event, translations);
                });
            });
    turn->engine = std::move(turnEngines.recognition);
    turn->stream =
        turn->engine->open(turn->settings.language, [this, post = hooks.post, number](RecognitionEvent event) {
            post([this, number, event = std::move(event)] { onEvent(number, event); });
        });
    if (!turn->stream)
        endTurnWith("TooManyRequests");
}

std::optional<SpeechSession::Close> SpeechSession::takeAudio(const wire::SpeechMessage& message) {
    const auto id = message.requestId();
    if (!turn || turn->id != id) {
        if (endedId == id)
            return std::nullopt;
        if (auto close = beginTurn(id, settings))
            return close;
    }
    if (!turn || turn->inputEnded)
        return std::nullopt;
    if (!message.body.empty())
        return giveToEngine(message.body);
    turn->inputEnded = true;
    turn->stream->finish();
    return std::nullopt;
}

std::optional<SpeechSession::Close> SpeechSession::giveToEngine(std::string_view bytes) {
    const auto samples = turn->input.feed(bytes);
    if (!samples)
        return invalid("audio must be mono PCM of 16 kHz and 16 bit");
    if (!samples->empty() && !turn->stream->accept(*samples))
        setFull(true);
    return std::nullopt;
}

void SpeechSession::onEvent(std::uint64_t number, const RecognitionEvent& event) {
    if (!turn || turn->number != number)
        return;
    switch (event.kind) {
    case Kind::SpeechStart:
        if (!std::exchange(turn->speechStarted, true))
            send(turn->messages.startDetected(event.offset));
        break;
    case Kind::Partial:
    case Kind::Final:
        onResult(event);
        break;
    case Kind::SpeechEnd:
        if (turn->lane)
            turn->lane->add(event);
        else
            onTranslated(number, event, {});
        break;
    case Kind::Drained:
        setFull(false);
        break;
    case Kind::Failed:
        logLine("speech recognition: " + event.text);
        endTurnWith("Error");
        break;
    }
}

void SpeechSession::onResult(const RecognitionEvent& event) {
    for (const auto& message : turn->messages.plain(event))
        send(message);
    if (turn->lane && (event.kind == Kind::Final || turn->settings.interimTranslation))
        turn->lane->add(event);
}

void SpeechSession::onTranslated(std::uint64_t number, const RecognitionEvent& event,
                                 const std::vector<Translation>& translations) {
    if (!turn || turn->number != number)
        return;
    if (event.kind != Kind::SpeechEnd)
        return send(turn->messages.translated(event, translations));
    send(turn->messages.endDetected(event.offset));
    endTurn();
}

void SpeechSession::endTurn() {
    send(turn->messages.turnEnd());
    endedId = turn->id;
    turn.reset();
    setFull(false);
}

void SpeechSession::endTurnWith(std::string_view status) {
    send(turn->messages.status(status));
    endTurn();
}

void SpeechSession::setFull(bool isSo) {
    if (full && !isSo) {
        full = false;
        hooks.resume();
    }
    full = isSo;
}

} // namespace parlowen::service
