#pragma once

#include <boost/asio/compose.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <chrono>
#include <memory>
#include <openssl/ssl.h>
#include <optional>
#include <string>

namespace parlowen::service {

/// TLS over TCP, the server's side, with time limits. OpenSSL reads and writes the socket itself, and Asio says when it
/// can: so a connection that waits holds no buffer, where `asio::ssl::stream` holds four of a record's size each.
/// An asynchronous stream of Asio's kind; one reading and one writing at a time. SIGPIPE is to be ignored.
class TlsStream {
public:
    using Socket = boost::asio::ip::tcp::socket;
    using executor_type = Socket::executor_type;
    using next_layer_type = Socket;
    using error_code = boost::system::error_code;

    /// Throws boost::system::system_error, such as for a socket that is closed already.
    TlsStream(Socket socket, boost::asio::ssl::context& context);

    executor_type get_executor() { return core_->socket.get_executor(); }
    Socket& next_layer() { return core_->socket; }
    const Socket& next_layer() const { return core_->socket; }
    Socket& socket() { return core_->socket; }

    /// For what begins from here on; what takes longer ends with beast::error::timeout, the connection shut down.
    void expires_after(std::chrono::milliseconds duration);
    void writing_expires_after(std::chrono::milliseconds duration);
    void expires_never();
    /// What is under way ends with operation_aborted.
    void cancel();

    /// As the server; no other side of it exists here.
    template<typename Token>
    auto async_handshake(Token&& token) {
        return run<void(error_code)>({core_, Kind::Handshake}, std::forward<Token>(token));
    }
    /// Sends the end and waits for the other side's.
    template<typename Token>
    auto async_shutdown(Token&& token) {
        return run<void(error_code)>({core_, Kind::Shutdown}, std::forward<Token>(token));
    }
    template<typename Buffers, typename Token>
    auto async_read_some(const Buffers& buffers, Token&& token) {
        Operation operation{core_, Kind::Read};
        for (const boost::asio::mutable_buffer buffer : boost::beast::buffers_range_ref(buffers)) {
            operation.data = buffer.data();
            operation.size = buffer.size();
            if (operation.size > 0)
                break;
        }
        return run<void(error_code, std::size_t)>(std::move(operation), std::forward<Token>(token));
    }
    /// What lies in several buffers goes out in one record, as far as that has room.
    template<typename Buffers, typename Token>
    auto async_write_some(const Buffers& buffers, Token&& token) {
        Operation operation{core_, Kind::Write};
        for (const boost::asio::const_buffer buffer : boost::beast::buffers_range_ref(buffers))
            operation.add(buffer);
        return run<void(error_code, std::size_t)>(std::move(operation), std::forward<Token>(token));
    }

private:
    enum class Kind { Handshake, Shutdown, Read, Write };

    /// The time limit of one direction.
    struct Side {
        explicit Side(const executor_type& executor)
            : timer(executor) {}
        boost::asio::steady_timer timer;
        std::chrono::steady_clock::time_point limit = std::chrono::steady_clock::time_point::max();
        bool busy = false;
        bool late = false;
    };

    struct Free {
        void operator()(SSL* ssl) const { SSL_free(ssl); }
    };

    struct Core {
        Core(Socket socketToUse, boost::asio::ssl::context& context);
        Socket socket;
        std::unique_ptr<SSL, Free> ssl;
        Side reading; ///< and handshake and shutdown
        Side writing;
    };

    /// One call of the user's, from its first attempt to its end.
    struct Operation {
        std::shared_ptr<Core> core;
        Kind kind;
        void* data = nullptr;       ///< to be read into
        std::size_t size = 0;       ///< of it
        const void* from = nullptr; ///< to be written
        std::string gathered{};     ///< from several buffers
        std::size_t done = 0;
        error_code problem{};
        bool waited = false;
        bool over = false;

        void add(boost::asio::const_buffer buffer);
        /// Tries it; the readiness that it lacks, or none when it is over.
        std::optional<Socket::wait_type> attempt(error_code wait);
        Side& side() const { return kind == Kind::Write ? core->writing : core->reading; }
        void arm() const;
        void finish(int result);

        template<typename Self>
        void operator()(Self& self, error_code wait = {}) {
            const auto kept = core; // while this moves
            if (!over) {
                if (const auto lacking = attempt(wait)) {
                    waited = true;
                    return kept->socket.async_wait(*lacking, std::move(self));
                }
                over = true;
                if (!waited) // a call is never answered from within
                    return boost::asio::post(kept->socket.get_executor(), std::move(self));
            }
            if constexpr (requires { self.complete(problem, done); })
                self.complete(problem, done);
            else
                self.complete(problem);
        }
    };

    template<typename Signature, typename Token>
    static auto run(Operation operation, Token&& token) {
        auto& socket = operation.core->socket;
        return boost::asio::async_compose<Token, Signature>(std::move(operation), token, socket);
    }

    std::shared_ptr<Core> core_;
};

} // namespace parlowen::service
