#include "ServerMessages.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace parlowen::service {

namespace {

using nlohmann::json;
using Kind = RecognitionEvent::Kind;

std::string textOf(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

std::string_view statusOf(const RecognitionEvent& event) { return event.text.empty() ? "NoMatch" : "Success"; }

/// The text without capitals and marks, as the "lexical" form has it.
std::string lexical(std::string text) {
    while (!text.empty() && (text.back() == '.' || text.back() == '?'))
        text.pop_back();
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

json alternatives(const RecognitionEvent& event) {
    if (event.text.empty())
        return json::array();
    const auto words = lexical(event.text);
    return {{{"Confidence", event.confidence},
             {"Lexical", words},
             {"ITN", words},
             {"MaskedITN", words},
             {"Display", event.text}}};
}

json timed(const RecognitionEvent& event) { return {{"Offset", event.offset}, {"Duration", event.duration}}; }

json phrase(const RecognitionEvent& event, bool detailed) {
    auto body = timed(event);
    body["RecognitionStatus"] = statusOf(event);
    if (detailed)
        body["NBest"] = alternatives(event);
    else
        body["DisplayText"] = event.text;
    return body;
}

json hypothesis(const RecognitionEvent& event) {
    auto body = timed(event);
    body["Text"] = event.text;
    return body;
}

/// {"TranslationStatus","Translations","FailureReason"?}: the list with each text under the given name.
json translationPart(const std::vector<Translation>& translations, const char* textName) {
    json list = json::array();
    bool failed = false;
    for (const auto& translation : translations) {
        failed = failed || !translation.text;
        if (translation.text)
            list.push_back({{"Language", translation.target}, {textName, *translation.text}});
    }
    json part{{"TranslationStatus", failed ? "Error" : "Success"}, {"Translations", std::move(list)}};
    if (failed)
        part["FailureReason"] = "the translator gave no answer";
    return part;
}

} // namespace

ServerMessages::ServerMessages(std::string requestId, TurnSettings settings)
    : requestId_(std::move(requestId))
    , settings_(std::move(settings)) {}

wire::SpeechMessage ServerMessages::message(std::string_view path, std::string body) const {
    wire::SpeechMessage result;
    result.headers = {{"X-RequestId", requestId_}, {"Path", std::string(path)}};
    if (!body.empty())
        result.headers.emplace_back("Content-Type", "application/json; charset=utf-8");
    result.body = std::move(body);
    return result;
}

wire::SpeechMessage ServerMessages::turnStart() const {
    return message("turn.start", textOf({{"context", {{"serviceTag", requestId_}}}}));
}

wire::SpeechMessage ServerMessages::startDetected(Ticks offset) const {
    return message("speech.startDetected", textOf({{"Offset", offset}}));
}

wire::SpeechMessage ServerMessages::endDetected(Ticks offset) const {
    return message("speech.endDetected", textOf({{"Offset", offset}}));
}

wire::SpeechMessage ServerMessages::turnEnd() const { return message("turn.end", "{}"); }

std::vector<wire::SpeechMessage> ServerMessages::plain(const RecognitionEvent& event) const {
    if (event.kind == Kind::Partial && settings_.plainHypotheses)
        return {message("speech.hypothesis", textOf(hypothesis(event)))};
    if (event.kind == Kind::Final && settings_.plainPhrases)
        return {message("speech.phrase", textOf(phrase(event, settings_.detailed)))};
    return {};
}

wire::SpeechMessage ServerMessages::translated(const RecognitionEvent& event,
                                               const std::vector<Translation>& translations) const {
    const bool isFinal = event.kind == Kind::Final;
    if (settings_.olderTranslation) {
        auto body = hypothesis(event);
        if (isFinal)
            body["RecognitionStatus"] = statusOf(event);
        body["Translation"] = translationPart(translations, "Text");
        return message(isFinal ? "translation.phrase" : "translation.hypothesis", textOf(body));
    }
    auto body = translationPart(translations, "DisplayText");
    if (isFinal)
        body["SpeechPhrase"] = phrase(event, false);
    else
        body["SpeechHypothesis"] = hypothesis(event);
    return message("translation.response", textOf(body));
}

wire::SpeechMessage ServerMessages::status(std::string_view recognitionStatus) const {
    json body{{"RecognitionStatus", recognitionStatus}, {"Offset", 0}, {"Duration", 0}};
    if (settings_.targets.empty())
        return message("speech.phrase", textOf(body));
    if (settings_.olderTranslation)
        return message("translation.phrase", textOf(body));
    return message("translation.response", textOf({{"SpeechPhrase", std::move(body)}}));
}

} // namespace parlowen::service
