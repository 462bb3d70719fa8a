#include "SpeechTurn.h"

#include <Foundation/Bundle.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "SpeechReply.h"
#include "SpeechVerdict.h"

namespace parlowen {

namespace {

using nlohmann::json;

constexpr std::uint64_t ticksPerSample = 625; // 100 ns units at 16 kHz
constexpr std::uint64_t bytesPerSample = 2;

json translationOf(const SpeechTask& task) {
    json targets = json::array();
    for (const QString& target : task.targets)
        targets.push_back(target.toStdString());
    return {{"targetLanguages", targets},
            {"output",
             {{"includePassThroughResults", true}, {"lateResults", true}, {"interimResults", {{"mode", "Always"}}}}},
            {"onSuccess", {{"action", "None"}}},
            {"onPassthrough", {{"action", "None"}}}};
}

json contextOf(const SpeechTask& task) {
    json context = {{"phraseDetection", {{"mode", "Conversation"}, {"language", task.language.toStdString()}}},
                    {"phraseOutput", json::object()}};
    if (task.translates()) {
        context["phraseDetection"]["onSuccess"]["action"] = "Translate";
        context["phraseDetection"]["onInterim"]["action"] = "Translate";
        // The plain results beside the translated ones would say everything twice.
        context["phraseOutput"]["interimResults"]["resultType"] = "None";
        context["phraseOutput"]["phraseResults"]["resultType"] = "None";
        context["translation"] = translationOf(task);
    }
    return context;
}

QString primarySubtag(const QString& language) { return language.section('-', 0, 0).toLower(); }

/// The translation into one target: its exact name first, then any of its primary language.
std::optional<QString> translationInto(const QString& target, const SpeechReply& reply) {
    const auto find = [&reply](const auto& matches) {
        const auto& all = reply.translations;
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const auto& entry) { return matches(entry.first); });
        return found == all.end() ? std::nullopt : std::optional(found->second);
    };
    if (auto exact = find([&](const QString& language) { return language == target; }))
        return exact;
    return find([&](const QString& language) { return primarySubtag(language) == primarySubtag(target); });
}

bool cancels(const QString& status) {
    return status == "Error" || status == "TooManyRequests" || status == "BadRequest" || status == "Forbidden";
}

} // namespace

SpeechTurn::SpeechTurn(SpeechTask task, std::string requestId, std::uint64_t firstByte)
    : task_(std::move(task))
    , requestId_(std::move(requestId))
    , firstByte_(firstByte)
    , resumeAt_(firstByte) {}

wire::SpeechMessage SpeechTurn::message(const char* path, const char* contentType, std::string body,
                                        bool binary) const {
    wire::SpeechMessage message{
        {{"Path", path}, {"X-RequestId", requestId_}, {"X-Timestamp", wire::timestampNow()}}, std::move(body), binary};
    if (contentType)
        message.headers.emplace_back("Content-Type", contentType);
    return message;
}

wire::SpeechMessage SpeechTurn::configuration() const {
    const json system = {
        {"name", "Parlowen"}, {"version", Bundle::shortVersion().toStdString()}, {"build", "Linux"}, {"lang", "C++"}};
    return message("speech.config", "application/json", json{{"context", {{"system", system}}}}.dump(), false);
}

std::vector<wire::SpeechMessage> SpeechTurn::opening() const {
    return {message("speech.context", "application/json", contextOf(task_).dump(), false),
            message("audio", "audio/x-wav", wire::waveHeader(), true)};
}

wire::SpeechMessage SpeechTurn::audio(std::string_view pcm) {
    sent_ += pcm.size();
    return message("audio", nullptr, std::string(pcm), true);
}

wire::SpeechMessage SpeechTurn::endOfAudio() {
    audioEnded_ = true;
    return message("audio", nullptr, {}, true);
}

std::vector<SpeechEvent> SpeechTurn::feed(const wire::SpeechMessage& message) {
    if (ended_ || message.requestId() != requestId_)
        return {};
    const std::optional<SpeechReply> reply = readReply(message);
    if (!reply)
        return {};
    if (reply->kind == SpeechReply::Kind::TurnEnd) {
        ended_ = true;
        return {{SpeechEvent::Kind::TurnEnded, {}, {}, {}}};
    }
    if (reply->kind == SpeechReply::Kind::Final && cancels(reply->recognitionStatus))
        return {{SpeechEvent::Kind::Canceled,
                 {},
                 {},
                 afterRecognitionStatus(reply->recognitionStatus, reply->failureReason)}};
    if (reply->translated != task_.translates())
        return {};
    if (reply->kind == SpeechReply::Kind::Partial)
        return {{SpeechEvent::Kind::Partial, resultOf(*reply), beginOf(*reply), {}}};
    return onFinal(*reply);
}

std::uint64_t SpeechTurn::positionOf(std::uint64_t ticks) const {
    const std::uint64_t bytes = std::min(ticks / ticksPerSample * bytesPerSample, sent_);
    std::uint64_t position = firstByte_ + bytes;
    for (const auto& [at, length] : skips_)
        position += at < bytes ? length : 0;
    return position;
}

std::optional<std::uint64_t> SpeechTurn::beginOf(const SpeechReply& reply) const {
    return reply.begin ? std::optional(positionOf(*reply.begin)) : std::nullopt;
}

std::vector<SpeechEvent> SpeechTurn::onFinal(const SpeechReply& reply) {
    if (reply.recognitionStatus == "EndOfDictation")
        return {};
    if (reply.end)
        resumeAt_ = std::max(resumeAt_, positionOf(*reply.end));
    const bool heard = reply.recognitionStatus == "Success";
    return {{SpeechEvent::Kind::Final, heard ? resultOf(reply) : SPXRecognitionResult(), beginOf(reply), {}}};
}

SPXRecognitionResult SpeechTurn::resultOf(const SpeechReply& reply) const {
    SPXRecognitionResult result{reply.text, {}};
    if (reply.translationStatus != "Success")
        return result;
    for (const QString& target : task_.targets) {
        if (const auto translation = translationInto(target, reply))
            result.translations.insert(target, *translation);
    }
    return result;
}

} // namespace parlowen
