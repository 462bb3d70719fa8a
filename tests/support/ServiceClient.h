#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace parlowen::testing {

/// A blocking TCP connection to 127.0.0.1. Whatever takes longer than 10 s counts as the connection's end.
class PlainConnection {
public:
    explicit PlainConnection(std::uint16_t port);
    virtual ~PlainConnection();
    PlainConnection(const PlainConnection&) = delete;
    PlainConnection& operator=(const PlainConnection&) = delete;

    /// False when the other side has closed.
    virtual bool send(std::string_view bytes);
    /// Some bytes; none at the end.
    virtual std::string receive();
    /// Whether bytes, or the end, arrive within that time.
    bool somethingComesWithin(std::chrono::milliseconds time);
    /// Up to and including the mark, or to the end. What follows stays for the next call.
    std::string receiveUntil(std::string_view mark);
    std::string receiveAll();
    /// Closes without a word.
    void cut();

protected:
    int socket() const { return socket_; }

private:
    int socket_;
    std::string unread_;
};

/// The same over TLS, with the server's certificate checked against one authority (PEM) and the host's name.
/// The constructor throws std::runtime_error when the handshake fails.
class TlsConnection final : public PlainConnection {
public:
    TlsConnection(std::uint16_t port, const std::string& authority, const std::string& host = "127.0.0.1");
    ~TlsConnection() override;

    bool send(std::string_view bytes) override;
    std::string receive() override;

private:
    struct Tls;
    std::unique_ptr<Tls> tls_;
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
    /// A connection for what the calls above cannot do.
    std::unique_ptr<TlsConnection> connect() const { return std::make_unique<TlsConnection>(port_, authority_); }

private:
    std::uint16_t port_;
    std::string authority_;
};

} // namespace parlowen::testing
