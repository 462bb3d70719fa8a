#include "Server.h"

#include "Connection.h"
#include "CountedLine.h"
#include "Log.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <malloc.h>
#include <thread>

namespace parlowen::service {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::chrono::milliseconds pauseWhenExhausted{100};
constexpr std::chrono::milliseconds timeToEnd{2'000};
constexpr int sendBuffer = 256 * 1024; // bytes of the kernel's for a client that does not read; 4 MB where it chooses
constexpr std::size_t workerThreads = 2;
constexpr std::size_t slowWorkerThreads = 6;

/// Of whom a connection is; empty for a proxy, whose requests say it.
std::string peerOf(const tcp::socket& socket, const std::vector<asio::ip::address>& proxies) {
    error_code gone;
    const auto peer = socket.remote_endpoint(gone).address();
    return std::find(proxies.begin(), proxies.end(), peer) == proxies.end()
               ? HttpRequest::Origin{.peer = peer}.network()
               : std::string();
}

void bindTo(tcp::acceptor& acceptor, const tcp::endpoint& endpoint) {
    acceptor.open(endpoint.protocol());
    acceptor.set_option(asio::socket_base::reuse_address(true));
    error_code failed;
    acceptor.bind(endpoint, failed);
    const std::string place = authorityOf(endpoint.address(), endpoint.port());
    if (failed == asio::error::address_in_use)
        throw AddressInUse(place + " is in use, perhaps by another parlowen-service");
    if (failed)
        throw boost::system::system_error(failed, "cannot listen on " + place);
}

} // namespace

std::string authorityOf(const asio::ip::address& address, std::uint16_t port) {
    const std::string host = address.is_v6() ? "[" + address.to_string() + "]" : address.to_string();
    return host + ":" + std::to_string(port);
}

void requireFree(const asio::ip::address& address, std::uint16_t port) {
    asio::io_context none;
    tcp::acceptor acceptor(none);
    bindTo(acceptor, {address, port});
}

struct Server::Core {
    Core(Options serverOptions, std::optional<asio::ssl::context> tls, Router router)
        : options(std::move(serverOptions))
        , workers(workerThreads)
        , slowWorkers(slowWorkerThreads)
        , context{options.limits,         {tls.has_value(), options.hosts, options.proxies},
                  std::move(router),      std::move(tls),
                  workers.get_executor(), slowWorkers.get_executor()}
        , connections({options.limits.connections, options.limits.connectionsOfAPeer, options.limits.reserve,
                       options.limits.connectionsOfAUser})
        , io(options.threads)
        , acceptor(asio::make_strand(io)) {
        // What a flood took goes back to the system.
        connections.calmed = [this] { asio::post(workers, [] { ::malloc_trim(0); }); };
    }

    void listen();
    asio::awaitable<void> acceptAll();
    void accepted(tcp::socket socket);
    void stop();

    const Options options;
    asio::thread_pool workers;
    asio::thread_pool slowWorkers;
    ConnectionContext context;
    OpenConnections connections;
    asio::io_context io;
    tcp::acceptor acceptor; ///< used on its own strand
    std::uint16_t port = 0;
    std::vector<std::thread> threads;
};

void Server::Core::listen() {
    bindTo(acceptor, {options.address, options.port});
    acceptor.listen();
    port = acceptor.local_endpoint().port();
}

void Server::Core::accepted(tcp::socket socket) {
    const std::string peer = peerOf(socket, options.proxies);
    auto place = connections.enter(socket.native_handle(), peer);
    if (!place)
        return countedLines().connections.count(CountedLines::Refused, peer);
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(tcp::socket::send_buffer_size(sendBuffer), ignored);
    const auto executor = socket.get_executor();
    asio::co_spawn(executor, serveConnection(context, std::move(socket), std::move(place)), asio::detached);
}

asio::awaitable<void> Server::Core::acceptAll() {
    asio::steady_timer pause(acceptor.get_executor());
    error_code failed;
    while (acceptor.is_open()) {
        const asio::any_io_executor strand = asio::make_strand(io);
        tcp::socket socket = co_await acceptor.async_accept(strand, asio::redirect_error(asio::use_awaitable, failed));
        if (!failed && acceptor.is_open()) {
            accepted(std::move(socket));
            continue;
        }
        error_code ignored;
        pause.expires_after(pauseWhenExhausted);
        co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
}

Server::Server(Options options, std::optional<asio::ssl::context> tls, Router router)
    : core_(std::make_unique<Core>(std::move(options), std::move(tls), std::move(router))) {}

Server::~Server() { stop(); }

void Server::start() {
    core_->listen();
    asio::co_spawn(core_->acceptor.get_executor(), core_->acceptAll(), asio::detached);
    for (int i = 0; i < core_->options.threads; ++i)
        core_->threads.emplace_back([core = core_.get()] { core->io.run(); });
}

void Server::Core::stop() {
    if (threads.empty())
        return;
    asio::post(acceptor.get_executor(), [this] {
        error_code ignored;
        acceptor.close(ignored);
        connections.endAll();
    });
    if (!connections.waitUntilNone(timeToEnd))
        logLine("connections that do not end are cut");
    io.stop();
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    workers.join();
    slowWorkers.join();
}

void Server::stop() { core_->stop(); }

std::uint16_t Server::port() const { return core_->port; }

} // namespace parlowen::service
