#include "Connection.h"

#include "Log.h"
#include "Wording.h"
#include "Workers.h"

#include <array>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <limits>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;
using Parser = RequestParser;

constexpr std::size_t readAtOnce = 1024;                                  // bytes of a header
constexpr std::size_t sinkPiece = std::size_t{256} * 1024;                // bytes, that a sink takes at once
constexpr std::uint64_t mostForgotten = std::uint64_t{256} * 1024 * 1024; // bytes of a refused upload

/// What a handler or a guard gave, or why there is nothing, in the log.
template<typename Function>
auto loggingFailures(const HttpRequest& request, Function function) -> std::optional<std::invoke_result_t<Function>> {
    try {
        return function();
    } catch (const std::exception& problem) {
        logProblem(request.path, problem);
        return std::nullopt;
    }
}

asio::awaitable<HttpResponse> answer(const Handler& handler, const HttpRequest& request) {
    try {
        auto reply = handler(request);
        co_return co_await std::move(reply);
    } catch (const std::exception& problem) {
        logProblem(request.path, problem);
    }
    co_return internalError();
}

asio::awaitable<void> fill(const EventSource& source, const HttpRequest& request, EventStream& events) {
    try {
        auto filling = source(events);
        co_await std::move(filling);
    } catch (const std::exception& problem) {
        logProblem(request.path, problem);
    }
}

/// `Stream` is a TlsStream, or a beast::tcp_stream for plain HTTP.
template<typename Stream>
class Connection {
public:
    static constexpr bool isTls = std::is_same_v<Stream, TlsStream>;

    Connection(ConnectionContext& context, Stream stream, asio::ip::address peer,
               std::unique_ptr<OpenConnections::Place> place)
        : context_(context)
        , limits_(context.limits)
        , peer_(std::move(peer))
        , stream_(std::move(stream))
        , buffer_(limits_.headerBytes + 1024)
        , place_(std::move(place)) {}

    asio::awaitable<void> run() {
        error_code failed;
        limitTo(limits_.handshake);
        if constexpr (isTls)
            co_await stream_.async_handshake(asio::redirect_error(asio::use_awaitable, failed));
        for (bool open = !failed; open;)
            open = co_await serveOne();
    }

private:
    void limitTo(std::chrono::milliseconds duration) { stream_.expires_after(duration); }

    /// Reads and answers one request; whether another may follow.
    asio::awaitable<bool> serveOne() {
        Parser parser;
        parser.header_limit(static_cast<std::uint32_t>(limits_.headerBytes));
        parser.body_limit(boost::none); // the route's is set once it is known
        error_code problem = co_await readHeader(parser);
        if (problem)
            co_return co_await refuse(problem);
        const auto origin = originOfRequest(parser.get());
        if (origin.viaProxy)
            place_->isFor(origin.peer == peer_ ? std::string() : origin.network());
        if (auto refusal = refusalOfHead(parser.get(), context_.rules)) {
            noteForeigner(parser.get(), context_.rules);
            co_return co_await refuse(std::move(refusal), 0);
        }
        const auto target = parsedTarget(parser.get().target());
        if (!target)
            co_return co_await refuse(make_error_code(http::error::bad_target));
        HttpRequest request(parser.get(), *target, origin);
        Router::Match match = context_.router.find(request.method, request.path);
        request.rest = std::move(match.rest);
        auto refusal = co_await refusalOf(match, request, parser);
        if (refusal && parser.is_done())
            co_return co_await respond(request.raw, *std::move(refusal));
        if (refusal) {
            const bool isUpload = match.route != nullptr && match.route->rules.sink && place_->isSignedIn();
            co_return co_await refuse(std::move(refusal), isUpload ? parser.content_length().value_or(0) : 0);
        }
        const RouteRules& rules = match.route->rules;
        const std::size_t fields = fieldsOf(parser);
        problem = co_await beginBody(parser, rules.bodyBytes);
        if (!problem && rules.sink)
            problem = co_await pourBody(parser, request, rules.sink);
        else if (!problem)
            problem = co_await readBody(parser);
        if (!problem)
            problem = problemBehindBody(parser, fields);
        if (problem)
            co_return co_await refuse(problem);
        co_return co_await dispatch(request, *match.route);
    }

    HttpRequest::Origin originOfRequest(const RawRequest& request) {
        auto origin = originOf(request, peer_, context_.rules);
        origin.workers = context_.workers;
        origin.slowWorkers = context_.slowWorkers;
        origin.signedIn = [this](std::int64_t user) { place_->signedIn(user); };
        return origin;
    }

    /// Why a request is not served, as far as its header and its route tell.
    asio::awaitable<std::optional<HttpResponse>> refusalOf(const Router::Match& match, const HttpRequest& request,
                                                           const Parser& parser) {
        const bool mayBeAUsers = !request.bearerToken().empty() || !request.query("Authorization").empty();
        if (place_->isSurplus() && !mayBeAUsers)
            co_return crowded(request);
        if (match.route == nullptr)
            co_return match.allow.empty() ? notFound() : methodNotAllowed(match.allow);
        const RouteRules& rules = match.route->rules;
        if (rules.right) {
            auto ask = [&] {
                auto asked = loggingFailures(request, [&] { return rules.right(request); });
                return asked ? *std::move(asked) : internalError();
            };
            auto refusal = co_await onWorker(context_.workers, std::move(ask));
            if (refusal)
                co_return refusal;
        }
        const bool isUpgrade = std::holds_alternative<WebSocketHandler>(match.route->handler); // is looked up later
        if (!isUpgrade && place_->isSurplus())
            co_return crowded(request);
        const bool fits = parser.content_length().value_or(0) <= rules.bodyBytes;
        co_return fits ? std::nullopt : std::optional(tooLarge());
    }

    asio::awaitable<bool> dispatch(HttpRequest& request, const Router::Route& route) {
        if (const auto* handler = std::get_if<Handler>(&route.handler)) {
            HttpResponse response = co_await answer(*handler, request);
            request.sink.reset(); // what it holds is gone when the client learns the end
            co_return co_await respond(request.raw, std::move(response));
        }
        if constexpr (isTls)
            co_return co_await dispatchStream(request, route);
        else
            co_return co_await respond(request.raw, notFound()); // plain HTTP has pages alone
    }

    asio::awaitable<bool> dispatchStream(HttpRequest& request, const Router::Route& route) {
        if (const auto* handler = std::get_if<StreamHandler>(&route.handler)) {
            auto reply = loggingFailures(request, [&] { return (*handler)(request); });
            const auto* source = reply ? std::get_if<EventSource>(&*reply) : nullptr;
            if (!source) {
                HttpResponse response = reply ? std::get<HttpResponse>(*std::move(reply)) : internalError();
                co_return co_await respond(request.raw, std::move(response));
            }
            co_await streamTo(*source, request);
            co_return false;
        }
        const bool upgrades =
            beast::websocket::is_upgrade(request.raw) && request.header("Sec-WebSocket-Version") == "13";
        if (!upgrades || !isWebSocketKey(request.header("Sec-WebSocket-Key"))) {
            HttpResponse response = upgrades ? badRequest("缺少有效的 Sec-WebSocket-Key 请求头")
                                             : failure(426, "这个接口只接受 WebSocket 连接", 426);
            response.headers.emplace_back("Sec-WebSocket-Version", "13");
            co_return co_await respond(request.raw, std::move(response));
        }
        co_await handOver(std::get<WebSocketHandler>(route.handler), request);
        co_return false;
    }

    asio::awaitable<void> streamTo(const EventSource& source, const HttpRequest& request) {
        const EventStream::Limits limits{limits_.write, limits_.streamComment};
        buffer_.clear();
        buffer_.shrink_to_fit();
        const auto events = std::make_shared<EventStream>(std::move(stream_), limits, request.raw.version() >= 11);
        co_await events->begin();
        co_await fill(source, request, *events);
        co_await events->end();
        place_.reset(); // before the socket is closed with the stream
    }

    asio::awaitable<void> handOver(const WebSocketHandler& handler, const HttpRequest& request) {
        stream_.expires_never();
        place_->waits();
        try {
            UpgradedStream upgraded(std::move(stream_));
            upgraded.buffer() = std::move(buffer_);
            auto serving = handler(request, std::move(upgraded));
            co_await std::move(serving);
        } catch (const std::exception& problem) {
            logProblem(request.path, problem);
        }
    }

    asio::awaitable<error_code> readHeader(Parser& parser) {
        error_code failed;
        place_->waits();
        std::optional<std::size_t> length = headLength(buffered(), 0);
        limitTo(buffer_.size() == 0 ? limits_.idle : limits_.header);
        while (!failed && !length) {
            const std::size_t known = buffer_.size();
            if (known >= limits_.headerBytes)
                co_return make_error_code(http::error::header_limit);
            const std::size_t count =
                co_await stream_.async_read_some(buffer_.prepare(std::min(readAtOnce, buffer_.max_size() - known)),
                                                 asio::redirect_error(asio::use_awaitable, failed));
            buffer_.commit(count);
            length = headLength(buffered(), known);
            if (known == 0 && !length)
                limitTo(limits_.header);
        }
        if (!failed) {
            failed = parseHead(parser, buffered().substr(0, *length));
            buffer_.consume(*length);
            const auto languages = parser.get()[http::field::accept_language];
            english_ = prefersEnglish({languages.data(), languages.size()});
        }
        place_->works();
        co_return failed;
    }

    std::string_view buffered() const { return {static_cast<const char*>(buffer_.cdata().data()), buffer_.size()}; }

    asio::awaitable<error_code> beginBody(Parser& parser, std::size_t limit) {
        parser.body_limit(limit);
        const auto expected = parser.get()[http::field::expect];
        if (sameWord({expected.data(), expected.size()}, "100-continue"))
            co_return co_await write("HTTP/1.1 100 Continue\r\n\r\n");
        co_return error_code();
    }

    asio::awaitable<error_code> readBody(Parser& parser) {
        error_code failed;
        limitTo(limits_.body);
        place_->waits();
        co_await http::async_read(stream_, buffer_, parser, asio::redirect_error(asio::use_awaitable, failed));
        place_->works();
        co_return failed;
    }

    /// Reads the body into a sink of the route's, piece by piece. A sink that fails ends the connection.
    asio::awaitable<error_code> pourBody(Parser& parser, HttpRequest& request, const SinkMaker& makeSink) {
        auto make = [&] { return makeSink(request); };
        request.sink = co_await onWorker(context_.workers, std::move(make));
        error_code failed;
        limitTo(limits_.upload);
        place_->waits();
        while (!failed && !parser.is_done()) {
            co_await http::async_read_some(stream_, buffer_, parser, asio::redirect_error(asio::use_awaitable, failed));
            if (parser.get().body().size() < sinkPiece && !parser.is_done())
                continue;
            auto take = [&request, piece = std::exchange(parser.get().body(), {})] { request.sink->take(piece); };
            co_await onWorker(context_.workers, std::move(take));
        }
        place_->works();
        co_return failed;
    }

    asio::awaitable<error_code> write(std::string_view bytes) {
        error_code failed;
        limitTo(limits_.write);
        co_await asio::async_write(stream_, asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, failed));
        co_return failed;
    }

    asio::awaitable<bool> respond(const RawRequest& request, HttpResponse response) {
        const bool open = request.keep_alive() && !place_->isSurplus();
        const bool bodyless = request.method() == verb::head;
        const error_code failed = co_await send(std::move(response), request.version(), open, bodyless);
        if (!open && !failed)
            co_await close();
        co_return open && !failed;
    }

    asio::awaitable<error_code> send(HttpResponse response, unsigned version, bool open, bool bodyless) {
        if (english_ && !response.message.empty())
            response.speakEnglish();
        http::response<http::string_body> message(static_cast<http::status>(response.status), version);
        message.set(http::field::server, "parlowen-service");
        message.set(http::field::content_type, response.contentType);
        message.set(http::field::cache_control, "no-store");
        for (const auto& [name, value] : response.headers)
            message.set(name, value);
        message.keep_alive(open);
        message.body() = std::move(response.body);
        message.prepare_payload();
        if (bodyless)
            message.body().clear();
        error_code failed;
        limitTo(limits_.write);
        place_->waits(); // for the client to read it, and to go
        co_await http::async_write(stream_, message, asio::redirect_error(asio::use_awaitable, failed));
        co_return failed;
    }

    asio::awaitable<bool> refuse(error_code problem) {
        auto reply = replyTo(problem);
        co_return co_await refuse(std::move(reply), 0);
    }

    /// Replies and closes. What the client still sends is read for a while, since a connection that is closed with
    /// unread data loses the reply on its way. Many clients read no reply before all of an upload is out, so that of a
    /// user is let come in as far as that is bearable: `coming` bytes.
    asio::awaitable<bool> refuse(std::optional<HttpResponse> reply, std::uint64_t coming) {
        if (!reply)
            co_return false;
        if (co_await send(*std::move(reply), 11, false, false))
            co_return false;
        const std::uint64_t unread = coming - std::min<std::uint64_t>(coming, buffer_.size());
        limitTo(limits_.upload);
        co_await forget(std::min(unread, mostForgotten));
        error_code ignored;
        stream_.socket().shutdown(asio::socket_base::shutdown_send, ignored);
        limitTo(closingTime);
        co_await forget(std::numeric_limits<std::uint64_t>::max());
        co_return false;
    }

    /// Reads that many bytes unless the connection ends before.
    asio::awaitable<void> forget(std::uint64_t bytes) {
        std::array<char, 16 * 1024> unread{};
        error_code failed;
        while (!failed && bytes > 0) {
            const std::size_t count = co_await stream_.async_read_some(
                asio::buffer(unread), asio::redirect_error(asio::use_awaitable, failed));
            bytes -= std::min<std::uint64_t>(bytes, count);
        }
    }

    asio::awaitable<void> close() {
        error_code ignored;
        limitTo(closingTime);
        if constexpr (isTls)
            co_await stream_.async_shutdown(asio::redirect_error(asio::use_awaitable, ignored));
        else
            stream_.socket().shutdown(asio::socket_base::shutdown_send, ignored);
        co_return;
    }

    ConnectionContext& context_;
    const ServerLimits& limits_;
    const asio::ip::address peer_;
    Stream stream_;
    beast::flat_buffer buffer_;
    bool english_ = false;                          ///< is what the client of the present request wants
    std::unique_ptr<OpenConnections::Place> place_; ///< given back before the socket is closed
};

} // namespace

asio::awaitable<void> serveConnection(ConnectionContext& context, asio::ip::tcp::socket socket,
                                      std::unique_ptr<OpenConnections::Place> place) {
    error_code gone;
    const auto peer = socket.remote_endpoint(gone).address();
    if (gone)
        co_return;
    try {
        if (context.tls) {
            Connection connection(context, TlsStream(std::move(socket), *context.tls), peer, std::move(place));
            co_await connection.run();
        } else {
            Connection connection(context, beast::tcp_stream(std::move(socket)), peer, std::move(place));
            co_await connection.run();
        }
    } catch (const std::exception& problem) {
        logProblem("connection", problem);
    }
}

} // namespace parlowen::service
