#include "ChatClient.h"

#include "ChatStreamParser.h"
#include "Http/HttpMessage.h"
#include "Http/Log.h"

namespace parlowen::service {

namespace {

using Clock = std::chrono::steady_clock;
using Reading = UpstreamClient::Reading;

constexpr std::chrono::seconds longestAnswer{180};
constexpr std::chrono::seconds warmFor{30};
constexpr long ok = 200;
constexpr std::size_t mostRefusalBytes = 8 * 1024;

ChatTrouble troubleOfStatus(long status) {
    switch (status) {
    case 401:
    case 403:
        return ChatTrouble::BadKey;
    case 404:
        return ChatTrouble::NoModel;
    case 429:
        return ChatTrouble::Busy;
    default:
        return ChatTrouble::Refused;
    }
}

ChatEvent endOf(const UpstreamEnd& end, ChatStreamParser& parser) {
    if (end.status != 0 && end.status != ok)
        return {.isEnd = true, .trouble = troubleOfStatus(end.status), .pause = end.pause};
    if (end.status == 0)
        return {.isEnd = true, .trouble = ChatTrouble::Unreachable};
    if (end.isLate)
        return {.isEnd = true, .trouble = ChatTrouble::Endless};
    const auto said = parser.finish();
    return end.isWhole && said ? *said : ChatEvent{.isEnd = true, .trouble = ChatTrouble::Cut};
}

/// What is wrong with a reply, for the log; what the status of HTTP says comes from there.
std::string_view wordsFor(ChatTrouble trouble) {
    switch (trouble) {
    case ChatTrouble::Broken:
        return "the reply is no event stream, or an event cannot be read";
    case ChatTrouble::Cut:
        return "the reply broke off";
    case ChatTrouble::TooLong:
        return "the reply reached the most tokens";
    case ChatTrouble::Filtered:
        return "the content filter ended the reply";
    case ChatTrouble::Endless:
        return "the reply took too long";
    default:
        return "an error came in the reply";
    }
}

/// A question that waits for its answer.
struct Asked {
    nlohmann::json body; ///< kept until the endpoint takes it
    ChatClient::Receiver receive;
    ChatStreamParser parser{};
};

} // namespace

/// Without what the endpoint refuses.
nlohmann::json ChatClient::acceptable(nlohmann::json body) const {
    if (refusesMaxTokens_ && body.contains("max_tokens")) {
        body["max_completion_tokens"] = body["max_tokens"];
        body.erase("max_tokens");
    }
    if (refusesTemperature_)
        body.erase("temperature");
    return body;
}

UpstreamRequest ChatClient::request(const nlohmann::json& body) const {
    return {.url = endpoint_.url + "/chat/completions",
            .headers = {"Content-Type: application/json", "Accept: text/event-stream"},
            .bearer = endpoint_.key,
            .body = compactJson(body),
            .mostRefusalBytes = mostRefusalBytes,
            .connect = endpoint_.connect,
            .whole = longestAnswer};
}

/// Notes the parameter that a refusal names, where it can be done without.
void ChatClient::learn(const std::string& refusal) {
    const auto said = jsonObject(refusal);
    if (!said || !said->contains("error") || !said->at("error").is_object())
        return;
    const std::string parameter = textMember(said->at("error"), "param");
    const std::string message = textMember(said->at("error"), "message");
    const auto names = [&](const char* name) {
        return parameter == name || (parameter.empty() && message.find(name) != std::string::npos);
    };
    if (names("max_tokens"))
        refusesMaxTokens_ = true;
    if (names("temperature"))
        refusesTemperature_ = true;
}

std::size_t ChatClient::send(nlohmann::json body, Receiver receive) {
    lastUse_ = Clock::now().time_since_epoch().count();
    const auto asked = std::make_shared<Asked>(Asked{acceptable(std::move(body)), std::move(receive)});
    auto first = request(asked->body);
    UpstreamClient::Handlers handlers;
    handlers.take = [asked](std::string_view bytes) {
        asked->body = nullptr;
        for (const ChatEvent& event : asked->parser.feed(bytes)) {
            asked->receive(event);
            if (!event.isEnd)
                continue;
            if (event.trouble != ChatTrouble::None)
                logLine("language model: " + std::string(wordsFor(event.trouble)));
            return Reading::Rest;
        }
        return Reading::On;
    };
    handlers.end = [this, asked](const UpstreamEnd& end) -> std::optional<UpstreamRequest> {
        if (end.status == 400) {
            learn(end.refusal);
            auto other = acceptable(asked->body);
            if (std::exchange(asked->body, other) != other)
                return request(asked->body);
        }
        const ChatEvent event = endOf(end, asked->parser);
        if (event.trouble != ChatTrouble::None)
            logLine("language model: " + (end.status == ok ? std::string(wordsFor(event.trouble)) : end.words));
        asked->receive(event);
        return std::nullopt;
    };
    return upstream_.send(std::move(first), std::move(handlers));
}

void ChatClient::warm() {
    const Clock::time_point last{Clock::duration(lastUse_)};
    if (endpoint_.url.empty() || Clock::now() - last <= warmFor)
        return;
    lastUse_ = Clock::now().time_since_epoch().count();
    upstream_.send({.url = endpoint_.url + "/models",
                    .method = UpstreamRequest::Method::Get,
                    .headers = {"Accept: application/json"},
                    .bearer = endpoint_.key,
                    .mostRefusalBytes = mostRefusalBytes, // a reply that is read whole leaves the connection usable
                    .connect = endpoint_.connect},
                   {});
}

} // namespace parlowen::service
