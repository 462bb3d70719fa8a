#include "SpeechReply.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>

namespace parlowen {

namespace {

using nlohmann::json;

const json& member(const json& object, const char* name) {
    static const json missing;
    if (!object.is_object())
        return missing;
    const auto found = object.find(name);
    return found == object.end() ? missing : *found;
}

std::optional<QString> textOf(const json& object, const char* name) {
    const json& value = member(object, name);
    return value.is_string() ? std::optional(QString::fromStdString(value.get_ref<const std::string&>()))
                             : std::nullopt;
}

std::optional<std::uint64_t> ticksOf(const json& object, const char* name) {
    constexpr double aYear = 365.0 * 24 * 3600 * 1e7;
    const json& value = member(object, name);
    if (!value.is_number())
        return std::nullopt;
    const auto ticks = value.get<double>();
    return ticks >= 0 && ticks < aYear ? std::optional(static_cast<std::uint64_t>(std::llround(ticks))) : std::nullopt;
}

/// The members that partial and final results of all forms share.
void readHeard(const json& heard, const char* textName, SpeechReply& reply) {
    reply.text = textOf(heard, textName);
    reply.recognitionStatus = textOf(heard, "RecognitionStatus").value_or("Success");
    const auto offset = ticksOf(heard, "Offset");
    const auto duration = ticksOf(heard, "Duration");
    reply.begin = offset;
    if (offset && duration)
        reply.end = *offset + *duration;
}

void readTranslations(const json& holder, const char* textName, SpeechReply& reply) {
    reply.translated = true;
    reply.translationStatus = textOf(holder, "TranslationStatus").value_or("Success");
    reply.failureReason = textOf(holder, "FailureReason").value_or(QString());
    const json& list = member(holder, "Translations");
    if (!list.is_array())
        return;
    for (const json& entry : list) {
        const auto language = textOf(entry, "Language");
        const auto text = textOf(entry, textName);
        if (language && text)
            reply.translations.emplace_back(*language, *text);
    }
}

std::optional<SpeechReply> readTranslationResponse(const json& body) {
    const bool final = member(body, "SpeechPhrase").is_object();
    if (!final && !member(body, "SpeechHypothesis").is_object())
        return std::nullopt;
    SpeechReply reply;
    reply.kind = final ? SpeechReply::Kind::Final : SpeechReply::Kind::Partial;
    readHeard(member(body, final ? "SpeechPhrase" : "SpeechHypothesis"), final ? "DisplayText" : "Text", reply);
    readTranslations(body, "DisplayText", reply);
    return reply;
}

SpeechReply readOlderTranslation(const json& body, SpeechReply::Kind kind) {
    SpeechReply reply;
    reply.kind = kind;
    readHeard(body, "Text", reply);
    readTranslations(member(body, "Translation"), "Text", reply);
    return reply;
}

SpeechReply readSpeech(const json& body, SpeechReply::Kind kind) {
    SpeechReply reply;
    reply.kind = kind;
    readHeard(body, kind == SpeechReply::Kind::Final ? "DisplayText" : "Text", reply);
    return reply;
}

} // namespace

std::optional<SpeechReply> readReply(const wire::SpeechMessage& message) {
    using Kind = SpeechReply::Kind;
    const std::string_view path = message.path();
    if (path == "turn.end")
        return SpeechReply();
    const json body = json::parse(message.body, nullptr, false);
    if (!body.is_object())
        return std::nullopt;
    if (path == "translation.response")
        return readTranslationResponse(body);
    if (path == "translation.hypothesis" || path == "translation.phrase")
        return readOlderTranslation(body, path == "translation.phrase" ? Kind::Final : Kind::Partial);
    if (path == "speech.hypothesis" || path == "speech.phrase")
        return readSpeech(body, path == "speech.phrase" ? Kind::Final : Kind::Partial);
    return std::nullopt;
}

} // namespace parlowen
