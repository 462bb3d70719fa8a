#pragma once

#include "Upstream/UpstreamClient.h"

#include <atomic>
#include <nlohmann/json.hpp>

namespace parlowen::service {

/// Where a language model is reached by the OpenAI chat-completions protocol, and how.
struct ChatEndpoint {
    std::string url;   ///< before "/chat/completions", such as "http://127.0.0.1:8080/v1"; empty: there is none
    std::string key{}; ///< sent as a bearer token; empty: none
    std::string model{};
    double temperature = 0.4;
    int mostTokens = 700; ///< of an answer
    std::chrono::milliseconds connect{5'000};
    std::chrono::milliseconds firstPiece{20'000}; ///< until the first piece, from the question on
    std::chrono::milliseconds stall{15'000};      ///< without a piece
    std::vector<std::string> translateTo{};       ///< codes of the languages that it translates into, such as "zh-Hans"
};

/// What can go wrong with a model's answer.
enum class ChatTrouble {
    None,
    Unreachable, ///< no connection, or none that can be trusted
    BadKey,
    NoModel,
    Busy,    ///< too many requests
    Refused, ///< by any other status of HTTP, or an error in the stream
    Broken,  ///< no event stream, or an event that cannot be read
    Cut,     ///< it ended without saying so
    TooLong, ///< it reached the most tokens
    Filtered,
    Stalled, ///< nothing came in time
    Endless,
};

/// What a status of HTTP other than 200 means; an error in a stream may name one, too.
ChatTrouble troubleOfStatus(std::int64_t status);

/// What an address lacks, where its endpoint knows nothing there; else empty.
std::string_view hintFor(const ChatEndpoint& endpoint, ChatTrouble trouble);

/// What happens to a question that was sent, in order: pieces, then one end.
struct ChatEvent {
    bool isEnd = false;
    std::string piece = {};
    ChatTrouble trouble = ChatTrouble::None; ///< of an end; None: the answer is whole
    std::chrono::seconds pause{0};           ///< that a busy endpoint asks for
};

/// Sends questions to an endpoint over connections that are kept, each answer streamed as it comes. Redirections are
/// not followed, certificates are checked. An endpoint that refuses "max_tokens" by name is asked once more with
/// "max_completion_tokens", one that refuses a temperature without it; where that helps, it is never sent them again.
/// Thread-safe.
class ChatClient {
public:
    /// Called on the client's own thread; must not block.
    using Receiver = std::function<void(ChatEvent)>;
    static constexpr std::chrono::seconds longestAnswer{180};

    explicit ChatClient(ChatEndpoint chatEndpoint)
        : endpoint_(std::move(chatEndpoint)) {}
    ChatClient(const ChatClient&) = delete;
    ChatClient& operator=(const ChatClient&) = delete;

    const ChatEndpoint& endpoint() const { return endpoint_; }
    /// Starts a request with that JSON object; returns its number. Once stopped, the end comes at once; after `whole`
    /// it comes in any case.
    std::size_t send(const nlohmann::json& body, Receiver receive, std::chrono::milliseconds whole = longestAnswer);
    /// Drops a request: its connection is closed, no event follows that is not under way already.
    void cancel(std::size_t request) { upstream_.cancel(request); }
    /// Opens a connection where none was used for a while, so that the next question need not wait for it.
    void warm();
    /// Ends all requests.
    void stop() { upstream_.stop(); }

private:
    UpstreamRequest request(const nlohmann::json& body, std::chrono::milliseconds whole) const;

    const ChatEndpoint endpoint_;
    std::atomic<bool> refusesMaxTokens_ = false;
    std::atomic<bool> refusesTemperature_ = false;
    std::atomic<std::chrono::steady_clock::rep> lastUse_ = 0;
    UpstreamClient upstream_; ///< last: what it calls uses the rest
};

} // namespace parlowen::service
