#include "SpeechConnection.h"

#include "Http/CountedLine.h"
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
constexpr std::chrono::seconds cuttingLimit{2};              // for the parts to notice that their socket is closed

/// A way to a connection's executor that other threads may keep for longer than the connection lives.
class Mailbox {
public:
    explicit Mailbox(asio::any_io_executor executor)
        : executor_(std::move(executor)) {}

    template<typename Function>
    void post(Function function) {
        const std::lock_guard lock(mutex_);
        if (executor_)
            asio::post(*executor_, std::move(function));
    }
    void close() {
        const std::lock_guard lock(mutex_);
        executor_.reset();
    }

private:
    std::mutex mutex_;
    std::optional<asio::any_io_executor> executor_;
};

/// A condition that coroutines of one strand wait for.
class Signal {
public:
    explicit Signal(const asio::any_io_executor& executor)
        : timer_(executor, Clock::time_point::max()) {}

    void raise() { timer_.cancel(); }
    asio::awaitable<void> wait() {
        error_code ignored;
        co_await timer_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
    asio::awaitable<void> waitUntil(Clock::time_point time) {
        timer_.expires_at(time);
        co_await wait();
    }

private:
    asio::steady_timer timer_;
};

/// One client's WebSocket. Two parts read and write; run() watches the time, and outlives them whatever they wait for.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(const asio::any_io_executor& executor, UpgradedStream stream, const SpeechGatewayOptions& options,
               SpeechPlaces::Place& place)
        : executor_(executor)
        , options_(options)
        , place_(place)
        , socket_(std::in_place, std::move(stream))
        , mailbox_(std::make_shared<Mailbox>(executor_))
        , readable_(executor_)
        , writable_(executor_)
        , changed_(executor_) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { mailbox_->close(); }

    asio::awaitable<void> run(const EngineSet& engines, const HttpRequest& request, const SpeechTokens::Session& token);

private:
    asio::awaitable<bool> accept(const RawRequest& request);
    asio::awaitable<void> read();
    asio::awaitable<void> write();
    asio::awaitable<void> watchTime();
    asio::awaitable<void> end();
    asio::awaitable<void> waitForParts(Clock::time_point limit);
    void start(asio::awaitable<void> part);
    SpeechSession::Hooks hooks(const HttpRequest& request);
    void handleFrame(const beast::flat_buffer& buffer);
    void send(std::string frame);
    void requestClose(const websocket::close_reason& reason);
    std::function<void()> closing(websocket::close_code code, const char* reason);
    void giveUp();

    const asio::any_io_executor executor_;
    const SpeechGatewayOptions options_;
    SpeechPlaces::Place& place_; ///< may be gone when run() has ended
    std::optional<websocket::stream<UpgradedStream>> socket_;
    std::unique_ptr<SpeechSession> session_;
    const std::shared_ptr<Mailbox> mailbox_;
    Signal readable_; ///< the session takes frames again
    Signal writable_; ///< there is something to write
    Signal changed_;  ///< for run(): a part has ended, or a close is wanted
    std::deque<std::string> unsent_;
    std::size_t unsentBytes_ = 0;
    std::optional<websocket::close_reason> wantedClose_;
    Clock::time_point lastSound_ = Clock::now();
    Clock::time_point writeLimit_ = Clock::time_point::max(); ///< of the frame that is being written
    bool over_ = false;
    int parts_ = 0;
};

asio::awaitable<void> Connection::run(const EngineSet& engines, const HttpRequest& request,
                                      const SpeechTokens::Session& token) {
    const bool accepted = co_await accept(request.raw);
    if (!accepted)
        co_return;
    auto settings = settingsOfRequest(request.path, [&request](std::string_view name) { return request.query(name); });
    session_ = std::make_unique<SpeechSession>(engines, std::move(settings), hooks(request));
    token.whenEnded(closing(websocket::close_code::policy_error, "signed out"));
    place_.whenLost(closing(websocket::close_code::going_away, "the place was needed for another connection"));
    start(write());
    start(read());
    co_await watchTime();
    co_await end();
}

asio::awaitable<bool> Connection::accept(const RawRequest& request) {
    websocket::stream_base::timeout limits{};
    limits.handshake_timeout = options_.closing;
    limits.idle_timeout = websocket::stream_base::none(); // watched here, since pongs are no use
    limits.keep_alive_pings = false;
    socket_->set_option(limits);
    socket_->read_message_max(longestFrame);
    error_code failed;
    co_await socket_->async_accept(request, asio::redirect_error(asio::use_awaitable, failed));
    co_return !failed;
}

void Connection::start(asio::awaitable<void> part) {
    ++parts_;
    asio::co_spawn(executor_, std::move(part), [self = shared_from_this()](const std::exception_ptr&) {
        --self->parts_;
        self->changed_.raise();
    });
}

asio::awaitable<void> Connection::read() {
    beast::flat_buffer buffer;
    while (!over_ && !wantedClose_) { // closing reads by itself
        if (session_->isFull()) {
            co_await readable_.wait();
            continue;
        }
        error_code failed;
        co_await socket_->async_read(buffer, asio::redirect_error(asio::use_awaitable, failed));
        if (failed)
            co_return;
        if (!wantedClose_ && !over_)
            handleFrame(buffer);
        buffer.consume(buffer.size());
    }
}

void Connection::handleFrame(const beast::flat_buffer& buffer) {
    const auto data = buffer.cdata();
    const std::string_view frame(static_cast<const char*>(data.data()), data.size());
    const auto heardBefore = session_->heard();
    const auto close = socket_->got_text() ? session_->onText(frame) : session_->onBinary(frame);
    if (session_->heard() != heardBefore) {
        lastSound_ = Clock::now();
        place_.heard();
    }
    if (close)
        requestClose({static_cast<websocket::close_code>(close->code), close->reason});
}

asio::awaitable<void> Connection::write() {
    error_code failed;
    while (!over_ && !failed) {
        if (!unsent_.empty()) {
            const auto frame = std::move(unsent_.front());
            unsent_.pop_front();
            unsentBytes_ -= frame.size();
            socket_->text(true);
            writeLimit_ = Clock::now() + options_.write;
            changed_.raise();
            co_await socket_->async_write(asio::buffer(frame), asio::redirect_error(asio::use_awaitable, failed));
            writeLimit_ = Clock::time_point::max();
        } else if (wantedClose_) {
            co_await socket_->async_close(*wantedClose_, asio::redirect_error(asio::use_awaitable, failed));
            co_return;
        } else {
            co_await writable_.wait();
        }
    }
}

/// Returns once the connection has to end: a part has ended, a close is wanted, or a frame takes too long to be sent.
asio::awaitable<void> Connection::watchTime() {
    while (parts_ == 2 && !wantedClose_ && Clock::now() < writeLimit_) {
        const auto idleLimit = lastSound_ + options_.idle;
        if (Clock::now() >= idleLimit)
            requestClose({websocket::close_code::normal, "no sound arrived for too long"});
        else
            co_await changed_.waitUntil(std::min(idleLimit, writeLimit_));
    }
}

/// Gives the closing handshake its time, then cuts the connection. Reading and closing can wait for each other for
/// ever, with no operation on the socket that its closing would end: parts that are still there then go with the
/// WebSocket.
asio::awaitable<void> Connection::end() {
    if (!wantedClose_ || Clock::now() >= writeLimit_)
        over_ = true;
    writable_.raise();
    readable_.raise();
    if (!over_)
        co_await waitForParts(Clock::now() + options_.closing);
    over_ = true;
    session_.reset();
    writable_.raise();
    readable_.raise();
    giveUp();
    co_await waitForParts(Clock::now() + cuttingLimit);
    if (parts_ > 0)
        socket_.reset();
}

asio::awaitable<void> Connection::waitForParts(Clock::time_point limit) {
    while (parts_ > 0 && Clock::now() < limit)
        co_await changed_.waitUntil(limit);
}

SpeechSession::Hooks Connection::hooks(const HttpRequest& request) {
    const std::weak_ptr<Connection> weak = weak_from_this();
    return {
        [this](std::string frame) { send(std::move(frame)); },
        [mailbox = mailbox_, weak](std::function<void()> function) {
            mailbox->post([weak, function = std::move(function)] {
                const auto self = weak.lock();
                if (self && self->session_)
                    function();
            });
        },
        [this] { readable_.raise(); }, request.origin.slowWorkers,
        [peer = request.origin.peer.to_string()] { countedLines().speech.count(CountedLines::SpeechUnderLoad, peer); }};
}

void Connection::send(std::string frame) {
    unsentBytes_ += frame.size();
    unsent_.push_back(std::move(frame));
    writable_.raise();
    if (unsentBytes_ > options_.unsentBytes)
        giveUp();
}

void Connection::requestClose(const websocket::close_reason& reason) {
    if (wantedClose_)
        return;
    wantedClose_ = reason;
    writable_.raise();
    readable_.raise();
    changed_.raise();
}

/// Asks for a close from any thread.
std::function<void()> Connection::closing(websocket::close_code code, const char* reason) {
    return [mailbox = mailbox_, weak = weak_from_this(), code, reason] {
        mailbox->post([weak, code, reason] {
            if (const auto self = weak.lock())
                self->requestClose({code, reason});
        });
    };
}

void Connection::giveUp() { beast::get_lowest_layer(*socket_).close(); }

} // namespace

asio::awaitable<void> serveSpeech(const EngineSet& engines, const SpeechGatewayOptions& options,
                                  const HttpRequest& request, SpeechTokens::Session& token, SpeechPlaces::Place& place,
                                  UpgradedStream stream) {
    const auto executor = co_await asio::this_coro::executor;
    const auto connection = std::make_shared<Connection>(executor, std::move(stream), options, place);
    co_await connection->run(engines, request, token);
}

} // namespace parlowen::service
