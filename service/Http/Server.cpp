#include "Server.h"

#include "Connection.h"
#include "Log.h"

#include <atomic>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <thread>

namespace parlowen::service {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::chrono::milliseconds pauseWhenExhausted{100};
constexpr std::size_t workerThreads = 2;

/// Counts a connection for as long as it lives.
class Place {
public:
    explicit Place(std::atomic<std::size_t>& count)
        : count_(&count) {
        ++*count_;
    }
    Place(Place&& other) noexcept
        : count_(std::exchange(other.count_, nullptr)) {}
    Place& operator=(Place&&) = delete;
    ~Place() {
        if (count_ != nullptr)
            --*count_;
    }

private:
    std::atomic<std::size_t>* count_;
};

asio::awaitable<void> serveCounted(ConnectionContext& context, tcp::socket socket, Place /*place*/) {
    auto serving = serveConnection(context, std::move(socket));
    co_await std::move(serving);
}

} // namespace

struct Server::Core {
    Core(Options serverOptions, asio::ssl::context tls, Router router)
        : options(std::move(serverOptions))
        , workers(workerThreads)
        , context{options.limits, std::move(router), std::move(tls), workers.get_executor()}
        , io(options.threads)
        , acceptor(io) {}

    void listen();
    asio::awaitable<void> acceptAll();
    void accepted(tcp::socket socket);

    const Options options;
    asio::thread_pool workers;
    ConnectionContext context;
    std::atomic<std::size_t> connections{0};
    asio::io_context io;
    tcp::acceptor acceptor;
    std::vector<std::thread> threads;
};

void Server::Core::listen() {
    const tcp::endpoint endpoint(options.address, options.port);
    acceptor.open(endpoint.protocol());
    acceptor.set_option(asio::socket_base::reuse_address(true));
    acceptor.bind(endpoint);
    acceptor.listen();
}

void Server::Core::accepted(tcp::socket socket) {
    if (connections >= options.limits.connections)
        return;
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    const auto executor = socket.get_executor();
    asio::co_spawn(executor, serveCounted(context, std::move(socket), Place(connections)), asio::detached);
}

asio::awaitable<void> Server::Core::acceptAll() {
    asio::steady_timer pause(io);
    error_code failed;
    while (failed != asio::error::operation_aborted) {
        const asio::any_io_executor strand = asio::make_strand(io);
        tcp::socket socket = co_await acceptor.async_accept(strand, asio::redirect_error(asio::use_awaitable, failed));
        if (!failed) {
            accepted(std::move(socket));
            continue;
        }
        error_code ignored;
        pause.expires_after(pauseWhenExhausted);
        co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
}

Server::Server(Options options, asio::ssl::context tls, Router router)
    : core_(std::make_unique<Core>(std::move(options), std::move(tls), std::move(router))) {}

Server::~Server() { stop(); }

void Server::start() {
    core_->listen();
    asio::co_spawn(core_->io, core_->acceptAll(), asio::detached);
    for (int i = 0; i < core_->options.threads; ++i)
        core_->threads.emplace_back([core = core_.get()] { core->io.run(); });
}

void Server::stop() {
    core_->io.stop();
    for (std::thread& thread : core_->threads)
        thread.join();
    core_->threads.clear();
    core_->workers.join();
}

std::uint16_t Server::port() const { return core_->acceptor.local_endpoint().port(); }

} // namespace parlowen::service
