#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace parlowen::testing {

/// A blocking connection to 127.0.0.1. Whatever takes longer than its patience counts as the connection's end.
class Connection {
public:
    using Stream = boost::asio::ssl::stream<boost::asio::ip::tcp::socket>;
    using Done = std::function<void(boost::system::error_code, std::size_t)>;

    /// Plain TCP. Throws when nobody listens.
    explicit Connection(std::uint16_t port, std::chrono::seconds patience = std::chrono::seconds(10));
    /// TLS, with the server's certificate checked against one authority (PEM) and the host's name. Throws also when the
    /// handshake fails.
    Connection(std::uint16_t port, const std::string& authority, const std::string& host = "127.0.0.1",
               std::chrono::seconds patience = std::chrono::seconds(10));

    /// False when the other side has closed.
    bool send(std::string_view bytes);
    /// Some bytes; none at the end.
    std::string receive();
    /// Whether bytes, or the end, arrive within that time.
    bool somethingComesWithin(std::chrono::milliseconds time);
    /// Up to and including the mark, or to the end. What follows stays for the next call.
    std::string receiveUntil(std::string_view mark);
    std::string receiveAll() { return receiveUntil({}); }
    /// Closes without a word.
    void cut() { stream_.next_layer().close(); }

    /// Starts an operation and runs it to its end; a connection that exhausts the patience is closed.
    boost::system::error_code run(const std::function<void(Done)>& start);
    Stream& stream() { return stream_; }

private:
    const std::chrono::seconds patience_;
    boost::asio::io_context io_;
    boost::asio::ssl::context tls_{boost::asio::ssl::context::tls_client};
    Stream stream_{io_, tls_};
    bool secure_ = false;
    std::string unread_;
};

struct Reply {
    unsigned status = 0;
    std::map<std::string, std::string> headers; ///< names in lower case
    std::string body;

    /// Null when the body is no JSON.
    nlohmann::json json() const { return nlohmann::json::parse(body, nullptr, false); }
    std::int64_t code() const { return json().at("code").get<std::int64_t>(); }
    std::string message() const { return json().at("message").get<std::string>(); }
    nlohmann::json data() const { return json().at("data"); }
};

/// A response as it came over the wire, its body without chunks. Throws when it is not complete.
Reply parseReply(const std::string& bytes);

/// Makes one request a connection.
class ServiceClient {
public:
    ServiceClient(std::uint16_t port, std::string authority)
        : port_(port)
        , authority_(std::move(authority)) {}

    /// What goes out for a request; `token` is left out when empty.
    static std::string request(std::string_view method, std::string_view path, std::string_view body = {},
                               std::string_view token = {}, std::string_view furtherHeaders = {});
    Reply send(std::string_view method, std::string_view path, std::string_view body = {}, std::string_view token = {},
               std::string_view furtherHeaders = {}) const;
    Reply get(std::string_view path, std::string_view token = {}) const { return send("GET", path, {}, token); }
    Reply post(std::string_view path, const nlohmann::json& body, std::string_view token = {}) const {
        return send("POST", path, body.dump(), token);
    }
    /// A connection for what the calls above cannot do, with those bytes already sent.
    std::unique_ptr<Connection> connect(std::string_view bytes = {}) const {
        auto connection = std::make_unique<Connection>(port_, authority_);
        if (!bytes.empty())
            connection->send(bytes);
        return connection;
    }

private:
    std::uint16_t port_;
    std::string authority_;
};

} // namespace parlowen::testing
