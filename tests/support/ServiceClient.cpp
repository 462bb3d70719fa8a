#include "ServiceClient.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/asio/write.hpp>
#include <csignal>
#include <httplib.h>
#include <optional>
#include <stdexcept>

namespace parlowen::testing {

namespace asio = boost::asio;

Connection::Connection(std::uint16_t port, const std::filesystem::path& authority, const std::string& host,
                       std::chrono::seconds patience)
    : patience_(patience) {
    stream_.next_layer().connect({asio::ip::address_v4::loopback(), port});
    tls_.load_verify_file(authority.string());
    stream_.set_verify_mode(asio::ssl::verify_peer);
    stream_.set_verify_callback(asio::ssl::host_name_verification(host));
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
    return !run([&](const Done& done) { asio::async_write(stream_, asio::buffer(bytes), done); });
}

std::string Connection::receiveUntil(std::string_view mark) {
    std::size_t found = std::string::npos;
    while (mark.empty() || (found = unread_.find(mark)) == std::string::npos) {
        std::string bytes(16 * 1024, '\0');
        std::size_t count = 0;
        run([&](const Done& done) {
            stream_.async_read_some(asio::buffer(bytes), [&count, done](auto error, std::size_t read) {
                count = read;
                done(error, read);
            });
        });
        if (count == 0)
            return std::exchange(unread_, {});
        unread_.append(bytes, 0, count);
    }
    std::string taken = unread_.substr(0, found + mark.size());
    unread_.erase(0, taken.size());
    return taken;
}

Reply ServiceClient::send(const std::string& method, const std::string& path, const std::string& body,
                          const std::string& token, std::multimap<std::string, std::string> headers) const {
    std::signal(SIGPIPE, SIG_IGN); // which writing to a closed connection would raise
    httplib::SSLClient client("127.0.0.1", port_);
    client.set_ca_cert_path(authority_.string());
    client.set_read_timeout(std::chrono::seconds(60));
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    request.headers.insert(headers.begin(), headers.end());
    if (!token.empty())
        request.headers.emplace("Authorization", "Bearer " + token);
    const auto result = client.send(request);
    if (!result)
        return {};
    return {result->status, {result->headers.begin(), result->headers.end()}, result->body};
}

} // namespace parlowen::testing
