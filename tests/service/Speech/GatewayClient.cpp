#include "GatewayClient.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <stdexcept>

namespace parlowen::testing {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

struct GatewayClient::Impl {
    explicit Impl(const std::string& authority) {
        tls.add_certificate_authority(asio::buffer(authority));
        tls.set_verify_mode(asio::ssl::verify_peer);
        socket.emplace(io, tls);
    }

    /// Starts an operation and runs it to its end.
    template<typename Start>
    error_code run(Start start) {
        std::optional<error_code> result;
        start([&result](error_code error, auto&&...) { result = error; });
        io.restart();
        io.run_for(std::chrono::minutes(1));
        if (!result)
            throw std::runtime_error("the gateway does not answer");
        return *result;
    }

    void send(const std::string& frame, bool text) {
        socket->text(text);
        run([&](auto done) { socket->async_write(asio::buffer(frame), done); });
    }

    asio::io_context io;
    asio::ssl::context tls{asio::ssl::context::tls_client};
    std::optional<websocket::stream<beast::ssl_stream<tcp::socket>>> socket;
    websocket::response_type response;
};

GatewayClient::GatewayClient(std::uint16_t port, const std::string& authority, const std::string& target,
                             const std::string& token)
    : impl(std::make_unique<Impl>(authority)) {
    auto& socket = *impl->socket;
    beast::get_lowest_layer(socket).connect({asio::ip::address_v4::loopback(), port});
    socket.next_layer().handshake(asio::ssl::stream_base::client);
    socket.set_option(websocket::stream_base::decorator([token](websocket::request_type& request) {
        if (!token.empty())
            request.set(beast::http::field::authorization, "Bearer " + token);
        request.set("X-ConnectionId", wire::guidWithoutDashes());
    }));
    impl->run([&](auto done) { socket.async_handshake(impl->response, "127.0.0.1", target, done); });
}

GatewayClient::~GatewayClient() = default;

unsigned GatewayClient::status() const { return impl->response.result_int(); }

void GatewayClient::sendText(const std::string& frame) { impl->send(frame, true); }

void GatewayClient::sendBinary(const std::string& frame) { impl->send(frame, false); }

void GatewayClient::sendTurn(const std::string& requestId, const std::string& context,
                             std::span<const std::int16_t> samples) {
    const auto message = [&](const char* path, std::string body, bool binary) {
        return wire::encode({{{"Path", path}, {"X-RequestId", requestId}, {"X-Timestamp", wire::timestampNow()}},
                             std::move(body),
                             binary});
    };
    sendText(message("speech.config", R"({"context":{"system":{"name":"test"}}})", false));
    sendText(message("speech.context", context, false));
    sendBinary(message("audio", wire::waveHeader(), true));
    while (!samples.empty()) {
        const auto piece = samples.first(std::min<std::size_t>(1'600, samples.size()));
        samples = samples.subspan(piece.size());
        const auto bytes = std::as_bytes(piece);
        sendBinary(message("audio", {reinterpret_cast<const char*>(bytes.data()), bytes.size()}, true));
    }
    sendBinary(message("audio", {}, true));
}

std::optional<wire::SpeechMessage> GatewayClient::receive() {
    beast::flat_buffer buffer;
    const auto error = impl->run([&](auto done) { impl->socket->async_read(buffer, done); });
    if (error)
        return std::nullopt;
    return wire::decodeText({static_cast<const char*>(buffer.cdata().data()), buffer.size()});
}

std::vector<wire::SpeechMessage> GatewayClient::receiveTurn() {
    std::vector<wire::SpeechMessage> result;
    while (auto message = receive()) {
        result.push_back(std::move(*message));
        if (result.back().path() == "turn.end")
            break;
    }
    return result;
}

std::pair<unsigned, std::string> GatewayClient::closed() const {
    const auto& reason = impl->socket->reason();
    if (reason.code == websocket::close_code::none)
        return {1006, ""};
    return {reason.code, std::string(reason.reason.data(), reason.reason.size())};
}

} // namespace parlowen::testing
