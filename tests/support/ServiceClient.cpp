#include "ServiceClient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <csignal>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace parlowen::testing {

namespace {

constexpr int patienceSeconds = 10;

int connectedSocket(std::uint16_t port) {
    // What is written to a closed connection is a failed write, not the end of the test.
    std::signal(SIGPIPE, SIG_IGN);
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{patienceSeconds, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        ::close(descriptor);
        throw std::runtime_error("cannot connect");
    }
    return descriptor;
}

template<auto Function>
struct FreeWith {
    template<typename T>
    void operator()(T* pointer) const {
        Function(pointer);
    }
};

using ContextPtr = std::unique_ptr<SSL_CTX, FreeWith<SSL_CTX_free>>;

ContextPtr contextTrusting(const std::string& authority) {
    ContextPtr context(SSL_CTX_new(TLS_client_method()));
    const std::unique_ptr<BIO, FreeWith<BIO_free>> bio(
        BIO_new_mem_buf(authority.data(), static_cast<int>(authority.size())));
    const std::unique_ptr<X509, FreeWith<X509_free>> certificate(
        PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    if (certificate)
        X509_STORE_add_cert(SSL_CTX_get_cert_store(context.get()), certificate.get());
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    return context;
}

void expectHost(SSL& ssl, const std::string& host) {
    X509_VERIFY_PARAM* parameters = SSL_get0_param(&ssl);
    if (X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) != 1)
        X509_VERIFY_PARAM_set1_host(parameters, host.data(), host.size());
}

} // namespace

PlainConnection::PlainConnection(std::uint16_t port)
    : socket_(connectedSocket(port)) {}

PlainConnection::~PlainConnection() { cut(); }

void PlainConnection::cut() {
    if (socket_ >= 0)
        ::close(socket_);
    socket_ = -1;
}

bool PlainConnection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::string PlainConnection::receive() {
    std::array<char, 16 * 1024> bytes{};
    const ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), 0);
    return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

bool PlainConnection::somethingComesWithin(std::chrono::milliseconds time) {
    pollfd waiting{socket_, POLLIN, 0};
    return ::poll(&waiting, 1, static_cast<int>(time.count())) > 0;
}

std::string PlainConnection::receiveUntil(std::string_view mark) {
    std::size_t found = unread_.find(mark);
    while (found == std::string::npos) {
        const std::string more = receive();
        if (more.empty())
            return std::exchange(unread_, {});
        unread_ += more;
        found = unread_.find(mark);
    }
    std::string taken = unread_.substr(0, found + mark.size());
    unread_.erase(0, taken.size());
    return taken;
}

std::string PlainConnection::receiveAll() {
    std::string all = std::exchange(unread_, {});
    for (std::string more = receive(); !more.empty(); more = receive())
        all += more;
    return all;
}

struct TlsConnection::Tls {
    ContextPtr context;
    std::unique_ptr<SSL, FreeWith<SSL_free>> ssl;
};

TlsConnection::TlsConnection(std::uint16_t port, const std::string& authority, const std::string& host)
    : PlainConnection(port)
    , tls_(std::make_unique<Tls>()) {
    tls_->context = contextTrusting(authority);
    tls_->ssl.reset(SSL_new(tls_->context.get()));
    expectHost(*tls_->ssl, host);
    SSL_set_fd(tls_->ssl.get(), socket());
    if (SSL_connect(tls_->ssl.get()) != 1)
        throw std::runtime_error("TLS handshake failed");
}

TlsConnection::~TlsConnection() = default;

bool TlsConnection::send(std::string_view bytes) {
    return SSL_write(tls_->ssl.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
}

std::string TlsConnection::receive() {
    std::array<char, 16 * 1024> bytes{};
    const int count = SSL_read(tls_->ssl.get(), bytes.data(), static_cast<int>(bytes.size()));
    return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

Reply parseReply(const std::string& bytes) {
    namespace http = boost::beast::http;
    http::response_parser<http::string_body> parser;
    parser.eager(true);
    boost::system::error_code problem;
    std::size_t used = 0;
    while (used < bytes.size() && !parser.is_done() && !problem)
        used += parser.put(boost::asio::buffer(bytes.data() + used, bytes.size() - used), problem);
    if (!problem && !parser.is_done())
        parser.put_eof(problem);
    if (problem || bytes.empty())
        throw std::runtime_error("no complete response: " + problem.message());
    Reply reply{parser.get().result_int(), {}, parser.get().body()};
    for (const auto& field : parser.get()) {
        std::string name(field.name_string().data(), field.name_string().size());
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
        reply.headers[name] = std::string(field.value().data(), field.value().size());
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
    const auto connection = connect();
    connection->send(request(method, path, body, token, std::string("Connection: close\r\n").append(furtherHeaders)));
    return parseReply(connection->receiveAll());
}

} // namespace parlowen::testing
