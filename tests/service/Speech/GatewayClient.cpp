#include "GatewayClient.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "support/ServiceClient.h"

namespace parlowen::testing {

namespace beast = boost::beast;
namespace websocket = beast::websocket;

struct GatewayClient::Impl {
    Connection connection;
    websocket::stream<Connection::Stream&> socket{connection.stream()};
    websocket::response_type response{};
};

GatewayClient::GatewayClient(std::uint16_t port, const std::string& authority, const std::string& target,
                             const std::string& token)
    : impl(new Impl{Connection(port, authority, "127.0.0.1", std::chrono::minutes(1))}) {
    impl->socket.set_option(websocket::stream_base::decorator([token](websocket::request_type& request) {
        if (!token.empty())
            request.set(beast::http::field::authorization, "Bearer " + token);
        request.set("X-ConnectionId", wire::guidWithoutDashes());
    }));
    impl->connection.run([&](const Connection::Done& done) {
        impl->socket.async_handshake(impl->response, "127.0.0.1", target, [done](auto error) { done(error, 0); });
    });
}

GatewayClient::~GatewayClient() = default;

unsigned GatewayClient::status() const { return impl->response.result_int(); }

void GatewayClient::send(const std::string& frame, bool text) {
    impl->socket.text(text);
    impl->connection.run(
        [&](const Connection::Done& done) { impl->socket.async_write(boost::asio::buffer(frame), done); });
}

void GatewayClient::sendTurn(const std::string& requestId, const std::string& context,
                             std::span<const std::int16_t> samples) {
    const auto send = [&](const char* path, std::string body, bool binary) {
        const wire::SpeechMessage message{
            {{"Path", path}, {"X-RequestId", requestId}, {"X-Timestamp", wire::timestampNow()}},
            std::move(body),
            binary};
        this->send(wire::encode(message), !binary);
    };
    send("speech.config", R"({"context":{"system":{"name":"test"}}})", false);
    send("speech.context", context, false);
    send("audio", wire::waveHeader(), true);
    while (!samples.empty()) {
        const auto piece = samples.first(std::min<std::size_t>(1'600, samples.size()));
        samples = samples.subspan(piece.size());
        send("audio", {reinterpret_cast<const char*>(piece.data()), piece.size_bytes()}, true);
    }
    send("audio", {}, true);
}

std::optional<wire::SpeechMessage> GatewayClient::receive() {
    beast::flat_buffer buffer;
    if (impl->connection.run([&](const Connection::Done& done) { impl->socket.async_read(buffer, done); }))
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
    const auto& reason = impl->socket.reason();
    if (reason.code == websocket::close_code::none)
        return {1006, ""};
    return {reason.code, std::string(reason.reason.data(), reason.reason.size())};
}

} // namespace parlowen::testing
