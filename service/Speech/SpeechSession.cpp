#include "SpeechSession.h"

#include "Http/Log.h"

#include <Wire/SpeechMessage.h>
#include <algorithm>

namespace parlowen::service {

namespace {

using Kind = RecognitionEvent::Kind;

constexpr std::uint16_t invalidPayload = 1007;

constexpr std::string_view magic = "RIFF";
constexpr std::size_t headerLength = 44;

std::uint32_t littleEndian(std::string_view bytes, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    return value;
}

bool isExpectedFormat(std::string_view header) {
    return header.substr(8, 8) == "WAVEfmt " && littleEndian(header, 20, 2) == 1 && littleEndian(header, 22, 2) == 1 &&
           littleEndian(header, 24, 4) == 16'000 && littleEndian(header, 34, 2) == 16;
}

SpeechSession::Close invalid(std::string_view reason) { return {invalidPayload, closeReason(reason)}; }

} // namespace

std::optional<std::vector<std::int16_t>> PcmInput::feed(std::string_view bytes) {
    rest_.append(bytes);
    if (!headerDone_) {
        const auto compared = std::min(rest_.size(), magic.size());
        const bool mayBeHeader = rest_.compare(0, compared, magic, 0, compared) == 0;
        if (mayBeHeader && rest_.size() < headerLength)
            return std::vector<std::int16_t>();
        if (mayBeHeader && !isExpectedFormat(rest_))
            return std::nullopt;
        rest_.erase(0, mayBeHeader ? headerLength : 0);
        headerDone_ = true;
    }
    std::vector<std::int16_t> samples(rest_.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(littleEndian(rest_, 2 * i, 2));
    rest_.erase(0, 2 * samples.size());
    return samples;
}

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
    bool translatesFinalsAlone = false;

    bool isLate() const { return translatesFinalsAlone && settings.lateTranslation; }
    /// What stands in a translation's place before it is known.
    std::vector<Translation> nothingYet() const {
        std::vector<Translation> empty;
        for (const std::string& target : settings.targets)
            empty.push_back({target, std::string()});
        return empty;
    }

    ~Turn() {
        if (lane)
            lane->cancel();
    }
};

SpeechSession::SpeechSession(const EngineSet& engines, TurnSettings settings, Hooks hooks)
    : engines_(engines)
    , hooks_(std::move(hooks))
    , settings_(settings)
    , connectionSettings_(std::move(settings)) {}

SpeechSession::~SpeechSession() = default;

std::optional<SpeechSession::Close> SpeechSession::onText(std::string_view frame) {
    const auto message = wire::decodeText(frame);
    if (!message)
        return invalid("text message: " + message.error());
    if (message->path() != "speech.context")
        return std::nullopt;
    auto wanted = withContext(connectionSettings_, message->body);
    if (!wanted)
        return invalid("speech.context is no JSON object");
    settings_ = std::move(*wanted);
    return beginTurn(message->requestId(), settings_);
}

std::optional<SpeechSession::Close> SpeechSession::onBinary(std::string_view frame) {
    const auto message = wire::decodeBinary(frame);
    if (!message)
        return invalid("binary message: " + message.error());
    return message->path() == "audio" ? takeAudio(*message) : std::nullopt;
}

std::optional<SpeechSession::Close> SpeechSession::beginTurn(std::string_view id, const TurnSettings& turnSettings) {
    auto found = enginesFor(turnSettings, engines_);
    if (const auto* problem = std::get_if<std::string>(&found))
        return invalid(*problem);
    turn_.reset(); // one that still ran is given up
    turn_ = std::make_unique<Turn>(++turns_, id, turnSettings);
    setFull(false);
    send(turn_->messages.turnStart());
    openStream(std::move(std::get<TurnEngines>(found)));
    return std::nullopt;
}

void SpeechSession::openStream(TurnEngines turnEngines) {
    const auto number = turn_->number;
    turn_->translatesFinalsAlone =
        std::any_of(turnEngines.translations.begin(), turnEngines.translations.end(),
                    [](const auto& translation) { return translation.translator->isForFinalsAlone(); });
    if (!turnEngines.translations.empty())
        turn_->lane = std::make_shared<TranslationLane>(
            hooks_.workers, std::move(turnEngines.translations),
            [this, post = hooks_.post, number](RecognitionEvent event, std::vector<Translation> translations) {
                post([this, number, event = std::move(event), translations = std::move(translations)] {
                    onTranslated(number, event, translations);
                });
            });
    turn_->engine = std::move(turnEngines.recognition);
    turn_->stream =
        turn_->engine->open(turn_->settings.language, [this, post = hooks_.post, number](RecognitionEvent event) {
            post([this, number, event = std::move(event)] { onEvent(number, event); });
        });
    if (turn_->stream)
        return;
    if (hooks_.refused)
        hooks_.refused();
    endTurnWith("TooManyRequests");
}

std::optional<SpeechSession::Close> SpeechSession::takeAudio(const wire::SpeechMessage& message) {
    const auto id = message.requestId();
    if (!turn_ || turn_->id != id) {
        if (endedId_ == id)
            return std::nullopt;
        if (auto close = beginTurn(id, settings_))
            return close;
    }
    if (!turn_ || turn_->inputEnded)
        return std::nullopt;
    if (!message.body.empty())
        return giveToEngine(message.body);
    turn_->inputEnded = true;
    turn_->stream->finish();
    return std::nullopt;
}

std::optional<SpeechSession::Close> SpeechSession::giveToEngine(std::string_view bytes) {
    const auto samples = turn_->input.feed(bytes);
    if (!samples)
        return invalid("audio must be mono PCM of 16 kHz and 16 bit");
    heard_ += samples->size();
    if (!samples->empty() && !turn_->stream->accept(*samples))
        setFull(true);
    return std::nullopt;
}

void SpeechSession::onEvent(std::uint64_t number, const RecognitionEvent& event) {
    if (!turn_ || turn_->number != number)
        return;
    switch (event.kind) {
    case Kind::SpeechStart:
        if (!std::exchange(turn_->speechStarted, true))
            send(turn_->messages.startDetected(event.offset));
        break;
    case Kind::Partial:
    case Kind::Final:
        onResult(event);
        break;
    case Kind::SpeechEnd:
        if (turn_->lane)
            turn_->lane->add(event);
        else
            onTranslated(number, event, {});
        break;
    case Kind::Drained:
        setFull(false);
        break;
    case Kind::Failed:
        logLine("speech recognition: " + event.text);
        endTurnWith(event.status);
        break;
    }
}

void SpeechSession::onResult(const RecognitionEvent& event) {
    for (const auto& message : turn_->messages.plain(event))
        send(message);
    const bool isFinal = event.kind == Kind::Final;
    if (!turn_->lane || !(isFinal || turn_->settings.interimTranslation))
        return;
    if (turn_->translatesFinalsAlone && (!isFinal || turn_->isLate()))
        send(turn_->messages.translated(event, turn_->nothingYet()));
    if (isFinal || !turn_->translatesFinalsAlone)
        turn_->lane->add(event);
}

void SpeechSession::onTranslated(std::uint64_t number, const RecognitionEvent& event,
                                 const std::vector<Translation>& translations) {
    if (!turn_ || turn_->number != number)
        return;
    const auto isMissing = [](const Translation& translation) {
        return !translation.text || translation.text->empty();
    };
    if (event.kind == Kind::Final && turn_->isLate() &&
        (translations.empty() || std::any_of(translations.begin(), translations.end(), isMissing)))
        return; // the final itself is said already
    if (event.kind != Kind::SpeechEnd)
        return send(turn_->messages.translated(event, translations));
    send(turn_->messages.endDetected(event.offset));
    endTurn();
}

void SpeechSession::endTurn() {
    send(turn_->messages.turnEnd());
    endedId_ = turn_->id;
    turn_.reset();
    setFull(false);
}

void SpeechSession::endTurnWith(std::string_view status) {
    send(turn_->messages.status(status));
    endTurn();
}

void SpeechSession::setFull(bool isSo) {
    if (full_ && !isSo) {
        full_ = false;
        hooks_.resume();
    }
    full_ = isSo;
}

} // namespace parlowen::service
