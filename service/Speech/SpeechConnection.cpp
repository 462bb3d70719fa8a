#include "SpeechConnection.h"

#include "SpeechSession.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <deque>
#include <mutex>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr std::size_t longestFrame = std::size_t{64} * 1024; // a context; audio is kept shorter by its own limit
constexpr std::size_t mostUnsent = std::size_t{1024} * 1024; // bytes of messages that a client does not fetch
constexpr std::chrono::seconds handshakeLimit{15};           // for opening and for closing

/// A way to a connection's executor that other threads may keep for longer than the connection lives.
class Mailbox {
public:
    explicit Mailbox(asio::any_io_executor executorOfConnection)
        : executor(std::move(executorOfConnection)) {}

    template<typename Function>
    void post(Function function) {
        const std::lock_guard lock(mutex);
        if (executor)
            asio::post(*executor, std::move(function));
    }
    void close() {
        const std::lock_guard lock(mutex);
        executor.reset();
    }

private:
    std::mutex mutex;
    std::optional<asio::any_io_executor> executor;
};

/// A condition that coroutines of one strand wait for.
class Signal {
public:
    explicit Signal(const asio::any_io_executor& executor)
        : timer(executor, Clock::time_point::max()) {}

    void raise() { timer.cancel(); }
    asio::awaitable<void> wait() {
        error_code ignored;
        co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
    asio::awaitable<void> waitUntil(Clock::time_point time) {
        timer.expires_at(time);
        co_await wait();
    }

private:
    asio::steady_timer timer;
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(const asio::any_io_executor& executorToUse, TlsStream stream, SpeechGatewayOptions optionsToUse)
        : executor(executorToUse)
        , options(optionsToUse)
        , socket(std::move(stream))
        , mailbox(std::make_shared<Mailbox>(executor))
        , readable(executor)
        , writable(executor)
        , due(executor)
        , ended(executor) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { mailbox->close(); }

    asio::awaitable<void> run(const EngineSet& engines, const HttpRequest& request);

private:
    asio::awaitable<bool> accept(const RawRequest& request);
    asio::awaitable<void> read();
    asio::awaitable<void> write();
    asio::awaitable<void> watchTime();
    void start(asio::awaitable<void> part);
    SpeechSession::Hooks hooks(const asio::any_io_executor& workers);
    void handleFrame(const beast::flat_buffer& buffer);
    void send(std::string frame);
    void requestClose(const websocket::close_reason& reason);
    void giveUp();

    const asio::any_io_executor executor;
    const SpeechGatewayOptions options;
    websocket::stream<TlsStream> socket;
    std::unique_ptr<SpeechSession> session;
    const std::shared_ptr<Mailbox> mailbox;
    Signal readable; ///< the session takes frames again
    Signal writable; ///< there is something to write
    Signal due;      ///< the connection is over
    Signal ended;    ///< a part is
    std::deque<std::string> unsent;
    std::size_t unsentBytes = 0;
    std::optional<websocket::close_reason> wantedClose;
    Clock::time_point lastArrival = Clock::now();
    bool over = false;
    int parts = 0; ///< coroutines beside run()
};

asio::awaitable<void> Connection::run(const EngineSet& engines, const HttpRequest& request) {
    const bool accepted = co_await accept(request.raw);
    if (!accepted)
        co_return;
    auto settings = settingsOfRequest(request.path, [&request](std::string_view name) { return request.query(name); });
    session = std::make_unique<SpeechSession>(engines, std::move(settings), hooks(request.origin.workers));
    start(write());
    start(watchTime());
    co_await read();
    over = true;
    session.reset();
    writable.raise();
    due.raise();
    while (parts > 0)
        co_await ended.wait();
}

asio::awaitable<bool> Connection::accept(const RawRequest& request) {
    websocket::stream_base::timeout limits{};
    limits.handshake_timeout = handshakeLimit;
    limits.idle_timeout = websocket::stream_base::none(); // watched here, since pongs are no use
    limits.keep_alive_pings = false;
    socket.set_option(limits);
    socket.read_message_max(longestFrame);
    error_code failed;
    co_await socket.async_accept(request, asio::redirect_error(asio::use_awaitable, failed));
    co_return !failed;
}

void Connection::start(asio::awaitable<void> part) {
    ++parts;
    asio::co_spawn(executor, std::move(part), [self = shared_from_this()](const std::exception_ptr&) {
        --self->parts;
        self->ended.raise();
    });
}

asio::awaitable<void> Connection::read() {
    beast::flat_buffer buffer;
    while (true) {
        while (session->isFull() && !wantedClose)
            co_await readable.wait();
        error_code failed;
        co_await socket.async_read(buffer, asio::redirect_error(asio::use_awaitable, failed));
        if (failed)
            co_return;
        lastArrival = Clock::now();
        if (!wantedClose) // else only the client's own close matters
            handleFrame(buffer);
        buffer.consume(buffer.size());
    }
}

void Connection::handleFrame(const beast::flat_buffer& buffer) {
    const auto data = buffer.cdata();
    const std::string_view frame(static_cast<const char*>(data.data()), data.size());
    const auto close = socket.got_text() ? session->onText(frame) : session->onBinary(frame);
    if (close)
        requestClose({static_cast<websocket::close_code>(close->code), close->reason});
}

asio::awaitable<void> Connection::write() {
    error_code failed;
    while (!over && !failed) {
        if (!unsent.empty()) {
            const auto frame = std::move(unsent.front());
            unsent.pop_front();
            unsentBytes -= frame.size();
            socket.text(true);
            co_await socket.async_write(asio::buffer(frame), asio::redirect_error(asio::use_awaitable, failed));
        } else if (wantedClose) {
            co_await socket.async_close(*wantedClose, asio::redirect_error(asio::use_awaitable, failed));
            break;
        } else {
            co_await writable.wait();
        }
    }
    giveUp(); // so that reading ends too
}

asio::awaitable<void> Connection::watchTime() {
    const auto end = options.longestUse ? Clock::now() + *options.longestUse : Clock::time_point::max();
    while (!over && !wantedClose) {
        co_await due.waitUntil(std::min(lastArrival + options.idle, end));
        const auto now = Clock::now();
        if (now >= end)
            requestClose({websocket::close_code::normal, "the connection was in use for the longest time allowed"});
        else if (now >= lastArrival + options.idle)
            requestClose({websocket::close_code::normal, "nothing arrived for too long"});
    }
}

SpeechSession::Hooks Connection::hooks(const asio::any_io_executor& workers) {
    const std::weak_ptr<Connection> weak = weak_from_this();
    return {[this](std::string frame) { send(std::move(frame)); },
            [mailbox = mailbox, weak](std::function<void()> function) {
                mailbox->post([weak, function = std::move(function)] {
                    const auto self = weak.lock();
                    if (self && self->session)
                        function();
                });
            },
            [this] { readable.raise(); }, workers};
}

void Connection::send(std::string frame) {
    unsentBytes += frame.size();
    unsent.push_back(std::move(frame));
    writable.raise();
    if (unsentBytes > mostUnsent)
        giveUp();
}

void Connection::requestClose(const websocket::close_reason& reason) {
    if (wantedClose)
        return;
    wantedClose = reason;
    writable.raise();
    readable.raise();
}

void Connection::giveUp() { beast::get_lowest_layer(socket).close(); }

} // namespace

asio::awaitable<void> serveSpeech(const EngineSet& engines, const SpeechGatewayOptions& options,
                                  const HttpRequest& request, TlsStream stream) {
    const auto executor = co_await asio::this_coro::executor;
    const auto connection = std::make_shared<Connection>(executor, std::move(stream), options);
    co_await connection->run(engines, request);
}

} // namespace parlowen::service
