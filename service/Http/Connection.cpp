#include "Connection.h"

#include "Envelope.h"
#include "EventStreamState.h"
#include "Log.h"

#include <array>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;
using Parser = http::request_parser<http::string_body>;

constexpr std::chrono::seconds closingTime{2};

/// The reply to a request that could not be read, or none when there is nobody to reply to.
std::optional<HttpResponse> replyTo(const error_code& problem) {
    if (problem == http::error::header_limit || problem == http::error::buffer_overflow)
        return failure(431, "请求头过大", 431);
    if (problem == http::error::body_limit)
        return failure(413, "请求内容过大", 413);
    const bool silent = problem == http::error::end_of_stream || problem == http::error::partial_message;
    if (!silent && problem.category() == make_error_code(http::error::bad_method).category())
        return badRequest();
    return std::nullopt;
}

asio::awaitable<HttpResponse> answer(const Handler& handler, const HttpRequest& request) {
    try {
        auto reply = handler(request);
        co_return co_await std::move(reply);
    } catch (const std::exception& problem) {
        logLine(request.path + ": " + problem.what());
    }
    co_return internalError();
}

asio::awaitable<void> fill(const StreamHandler& handler, const HttpRequest& request, EventStream& events) {
    try {
        auto filling = handler(request, events);
        co_await std::move(filling);
    } catch (const std::exception& problem) {
        logLine(request.path + ": " + problem.what());
    }
}

std::optional<HttpResponse> refusalOf(const Router::Match& match, const HttpRequest& request) {
    if (match.route == nullptr)
        return match.allow.empty() ? notFound() : methodNotAllowed(match.allow);
    if (!match.route->guard)
        return std::nullopt;
    try {
        return match.route->guard(request);
    } catch (const std::exception& problem) {
        logLine(request.path + ": " + problem.what());
        return internalError();
    }
}

class Connection {
public:
    Connection(ConnectionContext& context, asio::ip::tcp::socket socket, asio::ip::address peer)
        : context_(context)
        , limits_(context.limits)
        , peer_(std::move(peer))
        , stream_(beast::tcp_stream(std::move(socket)), context.tls)
        , buffer_(limits_.headerBytes + 1024) {}

    asio::awaitable<void> run() {
        error_code failed;
        limitTo(limits_.handshake);
        co_await stream_.async_handshake(asio::ssl::stream_base::server,
                                         asio::redirect_error(asio::use_awaitable, failed));
        bool open = !failed;
        while (open)
            open = co_await serveOne();
    }

private:
    void limitTo(std::chrono::milliseconds duration) { beast::get_lowest_layer(stream_).expires_after(duration); }

    /// Reads and answers one request; whether another may follow.
    asio::awaitable<bool> serveOne() {
        Parser parser;
        parser.header_limit(static_cast<std::uint32_t>(limits_.headerBytes));
        parser.body_limit(limits_.bodyBytes);
        const error_code problem = co_await readRequest(parser);
        if (problem) {
            auto reply = replyTo(problem);
            co_await refuse(std::move(reply));
            co_return false;
        }
        const RawRequest raw = parser.release();
        const HttpRequest request(raw, {peer_, context_.workers});
        const Router::Match match = context_.router.find(request.method, request.path);
        auto refusal = refusalOf(match, request);
        if (refusal)
            co_return co_await respond(raw, std::move(*refusal));
        co_return co_await dispatch(request, *match.route);
    }

    asio::awaitable<bool> dispatch(const HttpRequest& request, const Router::Route& route) {
        if (const auto* handler = std::get_if<Handler>(&route.handler)) {
            HttpResponse response = co_await answer(*handler, request);
            co_return co_await respond(request.raw, std::move(response));
        }
        if (const auto* handler = std::get_if<StreamHandler>(&route.handler)) {
            co_await streamTo(*handler, request);
            co_return false;
        }
        if (!beast::websocket::is_upgrade(request.raw)) {
            HttpResponse response = failure(426, "这个接口只接受 WebSocket 连接", 426);
            co_return co_await respond(request.raw, std::move(response));
        }
        co_await handOver(std::get<WebSocketHandler>(route.handler), request);
        co_return false;
    }

    asio::awaitable<void> streamTo(const StreamHandler& handler, const HttpRequest& request) {
        const auto state =
            std::make_shared<EventStream::State>(std::move(stream_), limits_, request.raw.version() >= 11);
        EventStream events(state);
        co_await EventStream::State::begin(state);
        co_await fill(handler, request, events);
        co_await EventStream::State::end(state);
    }

    asio::awaitable<void> handOver(const WebSocketHandler& handler, const HttpRequest& request) {
        beast::get_lowest_layer(stream_).expires_never();
        try {
            auto serving = handler(request, std::move(stream_));
            co_await std::move(serving);
        } catch (const std::exception& problem) {
            logLine(request.path + ": " + problem.what());
        }
    }

    asio::awaitable<error_code> readRequest(Parser& parser) {
        error_code failed;
        if (buffer_.size() == 0) {
            limitTo(limits_.idle);
            const std::size_t count = co_await stream_.async_read_some(
                buffer_.prepare(1024), asio::redirect_error(asio::use_awaitable, failed));
            buffer_.commit(count);
        }
        if (!failed) {
            limitTo(limits_.header);
            co_await http::async_read_header(stream_, buffer_, parser,
                                             asio::redirect_error(asio::use_awaitable, failed));
        }
        if (!failed && beast::iequals(parser.get()[http::field::expect], "100-continue"))
            failed = co_await write("HTTP/1.1 100 Continue\r\n\r\n");
        if (!failed) {
            limitTo(limits_.body);
            co_await http::async_read(stream_, buffer_, parser, asio::redirect_error(asio::use_awaitable, failed));
        }
        co_return failed;
    }

    asio::awaitable<error_code> write(std::string_view bytes) {
        error_code failed;
        limitTo(limits_.write);
        co_await asio::async_write(stream_, asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, failed));
        co_return failed;
    }

    asio::awaitable<bool> respond(const RawRequest& request, HttpResponse response) {
        const bool open = request.keep_alive();
        const bool bodyless = request.method() == verb::head;
        const error_code failed = co_await send(std::move(response), request.version(), open, bodyless);
        if (!open && !failed)
            co_await close();
        co_return open && !failed;
    }

    asio::awaitable<error_code> send(HttpResponse response, unsigned version, bool open, bool bodyless) {
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
        co_await http::async_write(stream_, message, asio::redirect_error(asio::use_awaitable, failed));
        co_return failed;
    }

    /// Replies and closes. What the client still sends is read for a while, since a connection that is closed with
    /// unread data loses the reply on its way.
    asio::awaitable<void> refuse(std::optional<HttpResponse> reply) {
        if (!reply)
            co_return;
        error_code failed = co_await send(std::move(*reply), 11, false, false);
        error_code ignored;
        beast::get_lowest_layer(stream_).socket().shutdown(asio::socket_base::shutdown_send, ignored);
        std::array<char, 4096> unread{};
        limitTo(closingTime);
        while (!failed)
            co_await stream_.async_read_some(asio::buffer(unread), asio::redirect_error(asio::use_awaitable, failed));
    }

    asio::awaitable<void> close() {
        error_code ignored;
        limitTo(closingTime);
        co_await stream_.async_shutdown(asio::redirect_error(asio::use_awaitable, ignored));
    }

    ConnectionContext& context_;
    const ServerLimits& limits_;
    const asio::ip::address peer_;
    TlsStream stream_;
    beast::flat_buffer buffer_;
};

} // namespace

asio::awaitable<void> serveConnection(ConnectionContext& context, asio::ip::tcp::socket socket) {
    error_code gone;
    const auto peer = socket.remote_endpoint(gone);
    if (gone)
        co_return;
    try {
        Connection connection(context, std::move(socket), peer.address());
        co_await connection.run();
    } catch (const std::exception& problem) {
        logLine(std::string("connection: ") + problem.what());
    }
}

} // namespace parlowen::service
