#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/string.hpp>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace parlowen::testing {

/// A blocking connection to 127.0.0.1, for what an HTTP client would not do. Whatever takes longer than its patience
/// counts as the connection's end.
class Connection {
public:
    using Stream = boost::asio::ssl::stream<boost::asio::ip::tcp::socket>;
    using Done = std::function<void(boost::system::error_code, std::size_t)>;

    /// TCP, and TLS on it, with the server's certificate checked against an authority (a PEM file) and the host's name.
    /// Throws when nobody listens or the handshake fails.
    Connection(std::uint16_t port, const std::filesystem::path& authority, const std::string& host = "127.0.0.1",
               std::chrono::seconds patience = std::chrono::seconds(10));
    bool send(std::string_view bytes);
    /// Up to and including the mark, or to the end. What follows stays for the next call.
    std::string receiveUntil(std::string_view mark);
    std::string receiveAll() { return receiveUntil({}); }
    void cut() { stream_.next_layer().close(); }

    /// Starts an operation and runs it to its end; a connection that exhausts the patience is closed.
    boost::system::error_code run(const std::function<void(Done)>& start);
    Stream& stream() { return stream_; }

private:
    const std::chrono::seconds patience_;
    boost::asio::io_context io_;
    boost::asio::ssl::context tls_{boost::asio::ssl::context::tls_client};
    Stream stream_{io_, tls_};
    std::string unread_;
};

struct Reply {
    int status = 0; ///< 0: none came
    std::map<std::string, std::string, boost::beast::iless> headers = {};
    std::string body = {};

    nlohmann::json json() const { return nlohmann::json::parse(body); }
    int code() const { return json().at("code").get<int>(); }
    std::string message() const { return json().at("message").get<std::string>(); }
    nlohmann::json data() const { return json().at("data"); }
};

/// Makes one request a connection.
class ServiceClient {
public:
    ServiceClient(std::uint16_t port, std::filesystem::path authority)
        : port_(port)
        , authority_(std::move(authority)) {}

    /// `token` is left out when empty.
    Reply send(const std::string& method, const std::string& path, const std::string& body = {},
               const std::string& token = {}, std::multimap<std::string, std::string> headers = {}) const;
    Reply get(const std::string& path, const std::string& token = {}) const { return send("GET", path, {}, token); }
    Reply post(const std::string& path, const nlohmann::json& body, const std::string& token = {}) const {
        return send("POST", path, body.dump(), token);
    }
    /// A connection for what the calls above cannot do, with those bytes already sent.
    std::unique_ptr<Connection> connect(std::string_view bytes = {}) const {
        auto connection = std::make_unique<Connection>(port_, authority_);
        connection->send(bytes);
        return connection;
    }

private:
    std::uint16_t port_;
    std::filesystem::path authority_;
};

} // namespace parlowen::testing
