#pragma once

#include "EventStream.h"
#include "HttpMessage.h"
#include "UpgradedStream.h"

#include <functional>
#include <map>
#include <optional>
#include <variant>

namespace parlowen::service {

using Handler = std::function<boost::asio::awaitable<HttpResponse>(const HttpRequest&)>;
/// Fills an event stream; the stream ends when it returns.
using EventSource = std::function<boost::asio::awaitable<void>(EventStream&)>;
/// Looks at a request and gives what fills its event stream, or a plain response instead.
using StreamHandler = std::function<std::variant<EventSource, HttpResponse>(const HttpRequest&)>;
/// Gets the connection right after an upgrade request was read from it, with no time limit set, and owns it from then
/// on. It may lose it to others until it says by HttpRequest::isOf() whose it is. The request lives until it ends.
using WebSocketHandler = std::function<boost::asio::awaitable<void>(const HttpRequest&, UpgradedStream)>;
/// Looks at a request: a response instead of the handler's, or none. Where it finds a user it says so by
/// HttpRequest::isOf(). It may block: it runs on a worker thread.
using Guard = std::function<std::optional<HttpResponse>(const HttpRequest&)>;

/// Makes what takes a request's body. Called on a worker thread.
using SinkMaker = std::function<std::unique_ptr<BodySink>(const HttpRequest&)>;

/// What holds for the requests of a route before their bodies are read.
struct RouteRules {
    Guard right = {};          ///< who may ask; empty: anybody
    std::size_t bodyBytes = 0; ///< a larger body is refused with 413
    SinkMaker sink = {};       ///< where the body goes; empty: into memory
};

/// Where the API's paths begin; those of speech lie at the root.
inline constexpr std::string_view apiBase = "/api/v1";
inline std::string apiPath(std::string_view path) { return std::string(apiBase).append(path); }

/// Which handler answers which path. A path that ends in "/*" stands for those with one more, non-empty, segment.
class Router {
public:
    void route(verb method, const std::string& path, Handler handler, RouteRules rules = {});
    void stream(verb method, const std::string& path, StreamHandler handler, RouteRules rules = {});
    void webSocket(const std::string& path, WebSocketHandler handler);

    struct Route {
        std::variant<Handler, StreamHandler, WebSocketHandler> handler;
        RouteRules rules;
    };
    struct Match {
        const Route* route = nullptr;
        std::string rest{};  ///< the segment that a "*" stands for
        std::string allow{}; ///< the methods of a path that is known by other methods only, comma-separated
    };
    Match find(verb method, std::string_view path) const;

private:
    void add(verb method, const std::string& path, Route route);

    std::map<std::string, std::map<verb, Route>, std::less<>> routes_;
};

} // namespace parlowen::service
