#pragma once

#include <Wire/SpeechMessage.h>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "support/ServiceClient.h"

namespace parlowen::testing {

namespace websocket = boost::beast::websocket;

/// A client of the speech gateway on 127.0.0.1 that blocks. What takes longer than a minute counts as its end.
class GatewayClient {
public:
    /// The `target` holds path and query; the token goes into the header unless it is empty.
    GatewayClient(std::uint16_t port, const std::filesystem::path& authority, const std::string& target,
                  const std::string& token)
        : connection_(port, authority, "127.0.0.1", std::chrono::minutes(1)) {
        socket_.set_option(websocket::stream_base::decorator([token](websocket::request_type& request) {
            if (!token.empty())
                request.set(boost::beast::http::field::authorization, "Bearer " + token);
        }));
        connection_.run([&](const Connection::Done& done) {
            socket_.async_handshake(response_, "127.0.0.1", target, [done](auto error) { done(error, 0); });
        });
    }

    /// Of the upgrade: 101 when the connection is open.
    unsigned status() const { return response_.result_int(); }

    /// False when the connection has ended.
    bool send(const std::string& frame, bool text = true) {
        socket_.text(text);
        return !connection_.run(
            [&](const Connection::Done& done) { socket_.async_write(boost::asio::buffer(frame), done); });
    }
    /// Bytes that are no whole frames.
    void sendRaw(const std::string& bytes) { connection_.send(bytes); }

    /// The next message; none once the connection has ended.
    std::optional<wire::SpeechMessage> receive() {
        boost::beast::flat_buffer buffer;
        if (connection_.run([&](const Connection::Done& done) { socket_.async_read(buffer, done); }))
            return std::nullopt;
        auto message = wire::decodeText({static_cast<const char*>(buffer.cdata().data()), buffer.size()});
        return message ? std::optional(std::move(*message)) : std::nullopt;
    }
    /// Why the server closed, once receive() gave none: code and reason. Code 1006: without a word.
    std::pair<unsigned, std::string> closed() const {
        const auto& reason = socket_.reason();
        if (reason.code == websocket::close_code::none)
            return {1006, ""};
        return {reason.code, std::string(reason.reason.data(), reason.reason.size())};
    }

private:
    Connection connection_;
    websocket::stream<Connection::Stream&> socket_{connection_.stream()};
    websocket::response_type response_;
};

} // namespace parlowen::testing
