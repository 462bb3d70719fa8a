#include "ServiceClient.h"

#include <algorithm>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <poll.h>
#include <stdexcept>

namespace parlowen::testing {

namespace asio = boost::asio;

Connection::Connection(std::uint16_t port, std::chrono::seconds patience)
    : patience_(patience) {
    stream_.next_layer().connect({asio::ip::address_v4::loopback(), port});
}

Connection::Connection(std::uint16_t port, const std::string& authority, const std::string& host,
                       std::chrono::seconds patience)
    : Connection(port, patience) {
    stream_.set_verify_mode(asio::ssl::verify_peer);
    stream_.set_verify_callback(asio::ssl::host_name_verification(host));
    tls_.add_certificate_authority(asio::buffer(authority));
    secure_ = true;
    const auto problem = run([this](const Done& done) {
        stream_.async_handshake(asio::ssl::stream_base::client, [done](auto error) { done(error, 0); });
    });
    if (problem)
        throw std::runtime_error("TLS handshake failed: " + problem.message());
}

boost::system::error_code Connection::run(const std::function<void(Done)>& start) {
    std::optional<boost::system::error_code> result;
    start([&result](boost::system::error_code error, std::size_t) { result = error; });
    io_.restart();
    io_.run_for(patience_);
    if (!result) {
        cut();
        io_.restart();
        io_.run();
    }
    return *result;
}

bool Connection::send(std::string_view bytes) {
    return !run([&](const Done& done) {
        if (secure_)
            asio::async_write(stream_, asio::buffer(bytes), done);
        else
            asio::async_write(stream_.next_layer(), asio::buffer(bytes), done);
    });
}

std::string Connection::receive() {
    std::string bytes(16 * 1024, '\0');
    std::size_t count = 0;
    run([&](const Done& done) {
        const auto counted = [&count, done](boost::system::error_code error, std::size_t read) {
            count = read;
            done(error, read);
        };
        if (secure_)
            stream_.async_read_some(asio::buffer(bytes), counted);
        else
            stream_.next_layer().async_read_some(asio::buffer(bytes), counted);
    });
    return bytes.substr(0, count);
}

bool Connection::somethingComesWithin(std::chrono::milliseconds time) {
    pollfd waiting{stream_.next_layer().native_handle(), POLLIN, 0};
    return ::poll(&waiting, 1, static_cast<int>(time.count())) > 0;
}

std::string Connection::receiveUntil(std::string_view mark) {
    std::size_t found = std::string::npos;
    while (mark.empty() || (found = unread_.find(mark)) == std::string::npos) {
        const std::string more = receive();
        if (more.empty())
            return std::exchange(unread_, {});
        unread_ += more;
    }
    std::string taken = unread_.substr(0, found + mark.size());
    unread_.erase(0, taken.size());
    return taken;
}

Reply parseReply(const std::string& bytes) {
    namespace http = boost::beast::http;
    http::response_parser<http::string_body> parser;
    parser.eager(true);
    boost::system::error_code problem;
    std::size_t used = 0;
    while (used < bytes.size() && !parser.is_done() && !problem)
        used += parser.put(asio::buffer(bytes.data() + used, bytes.size() - used), problem);
    if (!problem && !parser.is_done())
        parser.put_eof(problem);
    if (problem || bytes.empty())
        throw std::runtime_error("no complete response: " + problem.message());
    Reply reply{parser.get().result_int(), {}, parser.get().body()};
    for (const auto& field : parser.get()) {
        std::string name(field.name_string());
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
        reply.headers[name] = std::string(field.value());
    }
    return reply;
}

std::string ServiceClient::request(std::string_view method, std::string_view path, std::string_view body,
                                   std::string_view token, std::string_view furtherHeaders) {
    std::string bytes;
    bytes.append(method).append(" ").append(path).append(" HTTP/1.1\r\nHost: 127.0.0.1:1234\r\n");
    if (!token.empty())
        bytes.append("Authorization: Bearer ").append(token).append("\r\n");
    if (!body.empty() || method == "POST")
        bytes.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n");
    return bytes.append(furtherHeaders).append("\r\n").append(body);
}

Reply ServiceClient::send(std::string_view method, std::string_view path, std::string_view body, std::string_view token,
                          std::string_view furtherHeaders) const {
    const std::string headers = std::string("Connection: close\r\n").append(furtherHeaders);
    return parseReply(connect(request(method, path, body, token, headers))->receiveAll());
}

} // namespace parlowen::testing
