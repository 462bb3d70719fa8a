#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// A request to somebody else's server.
struct UpstreamRequest {
    /// A part of a form; one with a name of a file is a file.
    struct Part {
        std::string name;
        std::string contents;
        std::string fileName{};
        std::string type{};
    };

    enum class Method { Get, Post };

    std::string url; ///< http or https
    Method method = Method::Post;
    std::vector<std::string> headers{}; ///< such as "Accept: application/json"
    std::string bearer{};               ///< sent as the authorization; empty: none
    std::string body{};
    std::vector<Part> form{};         ///< multipart/form-data in place of the body
    std::size_t mostRefusalBytes = 0; ///< how much is read of what a reply of status 400 says
    std::chrono::milliseconds connect{5'000};
    std::chrono::milliseconds whole{180'000}; ///< until the reply has ended
};

/// How a request ended.
struct UpstreamEnd {
    long status = 0;     ///< of HTTP; 0: no reply came
    bool isWhole = true; ///< false: the reply broke off, was stopped, or never came
    bool isLate = false; ///< its time was over
    std::string words{}; ///< what happened, for the log; no address is in it
    std::string refusal{};
    std::string sent{};            ///< the request's body; empty where a reply of status 200 began
    std::chrono::seconds pause{0}; ///< that the server asks for, an hour at most
};

/// Sends requests over connections that are kept. Redirections are not followed, certificates are checked. Of a reply
/// with a status other than 200 no body is taken: it ends the request at once. Thread-safe.
class UpstreamClient {
public:
    /// What becomes of a request after a piece of its reply.
    enum class Reading {
        On,
        Rest, ///< nothing more is wanted: what still comes is read, for a short while, so that the connection is kept
        Stop,
    };
    /// Called on the client's own thread; must not block.
    struct Handlers {
        std::function<Reading(std::string_view bytes)> take{}; ///< empty: nothing of the reply is wanted
        /// Once, unless `take` gave up before. A request that it returns takes the place of the one that ended.
        std::function<std::optional<UpstreamRequest>(const UpstreamEnd&)> end{};
    };

    UpstreamClient();
    ~UpstreamClient(); ///< stops
    UpstreamClient(const UpstreamClient&) = delete;
    UpstreamClient& operator=(const UpstreamClient&) = delete;

    /// Starts a request and returns its number; 0 once stopped, and then the end comes at once.
    std::size_t send(UpstreamRequest request, Handlers handlers);
    /// Drops a request: its connection is closed, nothing is called any more that is not under way already.
    void cancel(std::size_t number);
    /// Ends all requests and the thread.
    void stop();

private:
    struct Core;
    std::unique_ptr<Core> core_;
};

} // namespace parlowen::service
