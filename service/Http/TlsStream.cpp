#include "TlsStream.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/beast/core/error.hpp>
#include <cerrno>
#include <climits>
#include <openssl/err.h>

namespace parlowen::service {

namespace asio = boost::asio;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t recordBytes = std::size_t{16} * 1024;

error_code problemOf(int reason) {
    const unsigned long error = ERR_get_error();
    if (reason == SSL_ERROR_ZERO_RETURN)
        return asio::error::eof;
    if (error == 0)
        return errno == 0 ? error_code(asio::ssl::error::stream_truncated)
                          : error_code(errno, asio::error::get_system_category());
    if (ERR_GET_REASON(error) == SSL_R_UNEXPECTED_EOF_WHILE_READING)
        return asio::ssl::error::stream_truncated;
    return {static_cast<int>(error), asio::error::get_ssl_category()};
}

} // namespace

TlsStream::Core::Core(Socket socketToUse, asio::ssl::context& context)
    : socket(std::move(socketToUse))
    , ssl(SSL_new(context.native_handle()))
    , reading(socket.get_executor())
    , writing(socket.get_executor()) {
    socket.native_non_blocking(true);
    if (!ssl || SSL_set_fd(ssl.get(), socket.native_handle()) != 1)
        throw boost::system::system_error(problemOf(SSL_ERROR_SSL), "TLS");
    SSL_set_accept_state(ssl.get());
    SSL_set_mode(ssl.get(),
                 SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_set_read_ahead(ssl.get(), 1);
}

TlsStream::TlsStream(Socket socket, asio::ssl::context& context)
    : core_(std::make_shared<Core>(std::move(socket), context)) {}

void TlsStream::expires_after(std::chrono::milliseconds duration) {
    const auto limit = Clock::now() + duration;
    for (Side* side : {&core_->reading, &core_->writing})
        if (!side->busy)
            side->limit = limit;
}

void TlsStream::writing_expires_after(std::chrono::milliseconds duration) {
    if (!core_->writing.busy)
        core_->writing.limit = Clock::now() + duration;
}

void TlsStream::expires_never() {
    for (Side* side : {&core_->reading, &core_->writing})
        if (!side->busy)
            side->limit = Clock::time_point::max();
}

void TlsStream::cancel() {
    error_code ignored;
    core_->socket.cancel(ignored);
}

void TlsStream::Operation::add(asio::const_buffer buffer) {
    if (buffer.size() == 0 || size >= recordBytes)
        return;
    if (size == 0) {
        from = buffer.data();
        size = buffer.size();
        return;
    }
    if (gathered.empty())
        gathered.assign(static_cast<const char*>(from), size);
    gathered.append(static_cast<const char*>(buffer.data()), std::min(buffer.size(), recordBytes - size));
    size = gathered.size();
}

std::optional<TlsStream::Socket::wait_type> TlsStream::Operation::attempt(error_code wait) {
    Side& limited = side();
    limited.busy = true;
    if (wait || !core->socket.is_open()) {
        problem = wait ? wait : error_code(asio::error::bad_descriptor);
        finish(0);
        return std::nullopt;
    }
    SSL* ssl = core->ssl.get();
    const int most = static_cast<int>(std::min<std::size_t>(size, INT_MAX));
    const bool isData = kind == Kind::Read || kind == Kind::Write;
    if (isData && size == 0) {
        finish(0);
        return std::nullopt;
    }
    if (kind == Kind::Handshake && !waited) { // OpenSSL makes room of many KiB before the client has said anything
        arm();
        return Socket::wait_read;
    }
    ERR_clear_error();
    errno = 0;
    int result = 0;
    switch (kind) {
    case Kind::Handshake:
        result = SSL_do_handshake(ssl);
        break;
    case Kind::Shutdown:
        result = SSL_shutdown(ssl);
        if (result == 0) // the end has gone out
            result = SSL_shutdown(ssl);
        break;
    case Kind::Read:
        result = SSL_read(ssl, data, most);
        break;
    case Kind::Write:
        result = SSL_write(ssl, gathered.empty() ? from : gathered.data(), most);
        break;
    }
    const int reason = result > 0 ? SSL_ERROR_NONE : SSL_get_error(ssl, result);
    if (reason == SSL_ERROR_WANT_READ || reason == SSL_ERROR_WANT_WRITE) {
        if (!waited)
            arm();
        return reason == SSL_ERROR_WANT_READ ? Socket::wait_read : Socket::wait_write;
    }
    if (reason != SSL_ERROR_NONE)
        problem = problemOf(reason);
    finish(std::max(result, 0));
    return std::nullopt;
}

/// Once an operation; what it took before it had to wait counts, too.
void TlsStream::Operation::arm() const {
    Side& armed = side();
    if (armed.limit == Clock::time_point::max())
        return;
    armed.timer.expires_at(armed.limit);
    armed.timer.async_wait([weak = std::weak_ptr(core), ofWriting = kind == Kind::Write](const error_code& ended) {
        const auto kept = weak.lock();
        if (!kept)
            return;
        Side& limited = ofWriting ? kept->writing : kept->reading;
        // Another operation may have begun while this was on its way here.
        if (ended || !limited.busy || Clock::now() < limited.limit)
            return;
        limited.late = true;
        error_code ignored; // not closed: others know the socket by its number until its connection has ended
        kept->socket.shutdown(Socket::shutdown_both, ignored);
        kept->socket.cancel(ignored);
    });
}

void TlsStream::Operation::finish(int result) {
    Side& limited = side();
    done = kind == Kind::Read || kind == Kind::Write ? static_cast<std::size_t>(result) : 0;
    limited.busy = false;
    if (waited)
        limited.timer.cancel();
    if (limited.late && problem)
        problem = boost::beast::error::timeout;
}

} // namespace parlowen::service
