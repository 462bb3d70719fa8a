#include "ChatClient.h"

#include "ChatStreamParser.h"
#include "Http/HttpMessage.h"
#include "Http/Log.h"

#include <cctype>

namespace parlowen::service {

namespace {

using Clock = std::chrono::steady_clock;
using Reading = UpstreamClient::Reading;

constexpr std::chrono::seconds warmFor{30};
constexpr long ok = 200;
constexpr std::size_t mostRefusalBytes = std::size_t{8} * 1024;

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

/// Which parameters are left out of a request.
struct Without {
    bool maxTokens = false;
    bool temperature = false;

    nlohmann::json in(nlohmann::json body) const {
        if (maxTokens && body.contains("max_tokens")) {
            body["max_completion_tokens"] = body["max_tokens"];
            body.erase("max_tokens");
        }
        if (temperature)
            body.erase("temperature");
        return body;
    }
};

/// Whether a text holds a name that is no part of a longer one.
bool holdsName(std::string_view text, std::string_view name) {
    const auto isPart = [&text](std::size_t at) {
        return at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) != 0 || text[at] == '_');
    };
    for (auto at = text.find(name); at != std::string_view::npos; at = text.find(name, at + 1))
        if (!(at > 0 && isPart(at - 1)) && !isPart(at + name.size()))
            return true;
    return false;
}

/// The parameters that a refusal names.
Without namedIn(const std::string& refusal) {
    const auto said = jsonObject(refusal);
    const auto error = said ? said->find("error") : nlohmann::json::const_iterator();
    if (!said || error == said->end() || !error->is_object())
        return {};
    const std::string parameter = textMember(*error, "param");
    const std::string message = textMember(*error, "message");
    const auto names = [&](const char* name) {
        return parameter.empty() ? holdsName(message, name) : parameter == name;
    };
    return {names("max_tokens"), names("temperature")};
}

/// A question that waits for its answer.
struct Asked {
    ChatClient::Receiver receive;
    Without without;
    ChatStreamParser parser{};
};

} // namespace

ChatTrouble troubleOfStatus(std::int64_t status) {
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

std::string_view hintFor(const ChatEndpoint& endpoint, ChatTrouble trouble) {
    const bool lacksVersion = endpoint.url.find("/v1") == std::string::npos;
    return trouble == ChatTrouble::NoModel && lacksVersion ? "such an address usually ends in /v1" : std::string_view();
}

UpstreamRequest ChatClient::request(const nlohmann::json& body, std::chrono::milliseconds whole) const {
    return {.url = endpoint_.url + "/chat/completions",
            .headers = {"Content-Type: application/json", "Accept: text/event-stream"},
            .bearer = endpoint_.key,
            .body = compactJson(body),
            .mostRefusalBytes = mostRefusalBytes,
            .connect = endpoint_.connect,
            .whole = whole};
}

std::size_t ChatClient::send(const nlohmann::json& body, Receiver receive, std::chrono::milliseconds whole) {
    lastUse_ = Clock::now().time_since_epoch().count();
    const auto asked = std::make_shared<Asked>(Asked{std::move(receive), {refusesMaxTokens_, refusesTemperature_}});
    UpstreamClient::Handlers handlers;
    handlers.take = [this, asked](std::string_view bytes) {
        refusesMaxTokens_ = refusesMaxTokens_ || asked->without.maxTokens;
        refusesTemperature_ = refusesTemperature_ || asked->without.temperature;
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
    handlers.end = [this, asked, whole](const UpstreamEnd& end) -> std::optional<UpstreamRequest> {
        const auto sent = end.status == 400 ? jsonObject(end.sent) : std::nullopt;
        if (sent) {
            const Without named = namedIn(end.refusal);
            asked->without.maxTokens |= named.maxTokens;
            asked->without.temperature |= named.temperature;
            if (auto other = asked->without.in(*sent); other != *sent)
                return request(other, whole);
        }
        const ChatEvent event = endOf(end, asked->parser);
        if (event.trouble != ChatTrouble::None) {
            const std::string_view hint = hintFor(endpoint_, event.trouble);
            logLine("language model: " + (end.status == ok ? std::string(wordsFor(event.trouble)) : end.words) +
                    (hint.empty() ? "" : "; ") + std::string(hint));
        }
        asked->receive(event);
        return std::nullopt;
    };
    return upstream_.send(request(asked->without.in(body), whole), std::move(handlers));
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
