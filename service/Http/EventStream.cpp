#include "EventStreamState.h"

#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <cstdio>

namespace parlowen::service {

namespace asio = boost::asio;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::seconds closingTime{2};

std::string responseHead(bool chunked) {
    std::string head =
        "HTTP/1.1 200 OK\r\nServer: parlowen-service\r\nContent-Type: text/event-stream; charset=utf-8\r\n"
        "Cache-Control: no-store\r\nConnection: close\r\n";
    return head.append(chunked ? "Transfer-Encoding: chunked\r\n\r\n" : "\r\n");
}

std::string asChunk(std::string_view bytes) {
    std::array<char, 20> size{};
    const int length = std::snprintf(size.data(), size.size(), "%zx\r\n", bytes.size());
    std::string chunk(size.data(), static_cast<std::size_t>(length));
    return chunk.append(bytes).append("\r\n");
}

} // namespace

EventStream::State::State(TlsStream connection, const ServerLimits& serverLimits, bool inChunks)
    : stream(std::move(connection))
    , limits(serverLimits)
    , chunked(inChunks)
    , lastSent(Clock::now())
    , changed(stream.get_executor(), Clock::time_point::max())
    , pause(stream.get_executor())
    , quiet(stream.get_executor()) {}

asio::awaitable<void> EventStream::State::lockWriting() {
    error_code ignored;
    while (writing)
        co_await changed.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    writing = true;
}

void EventStream::State::unlockWriting() {
    writing = false;
    changed.cancel();
}

void EventStream::State::clientWent() {
    gone = true;
    pause.cancel();
    quiet.cancel();
}

asio::awaitable<void> EventStream::State::write(std::string bytes) {
    co_await lockWriting();
    error_code failed;
    if (!gone) {
        // The watch reads without a limit all the while, so this one holds for the writing alone.
        boost::beast::get_lowest_layer(stream).expires_after(limits.write);
        co_await asio::async_write(stream, asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, failed));
    }
    lastSent = Clock::now();
    if (failed)
        clientWent();
    unlockWriting();
}

asio::awaitable<bool> EventStream::State::send(std::string_view bytes) {
    std::string written = chunked ? asChunk(bytes) : std::string(bytes);
    // An empty chunk would end the body.
    if (!bytes.empty())
        co_await write(std::move(written));
    co_return !gone;
}

asio::awaitable<bool> EventStream::State::wait(std::chrono::milliseconds duration) {
    error_code ignored;
    pause.expires_after(duration);
    if (!gone)
        co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    co_return !gone;
}

asio::awaitable<void> EventStream::State::watchClient(std::shared_ptr<State> state) {
    std::array<char, 256> bytes{};
    error_code failed;
    while (!failed)
        co_await state->stream.async_read_some(asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, failed));
    if (!state->ending)
        state->clientWent();
}

asio::awaitable<void> EventStream::State::comment(std::shared_ptr<State> state) {
    error_code ignored;
    while (!state->gone && !state->ending) {
        state->quiet.expires_at(state->lastSent + state->limits.streamComment);
        co_await state->quiet.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
        const bool due = Clock::now() - state->lastSent >= state->limits.streamComment;
        if (due && !state->gone && !state->ending)
            co_await state->send(": wait\n\n");
    }
}

asio::awaitable<void> EventStream::State::run(std::shared_ptr<State> state,
                                              asio::awaitable<void> (*task)(std::shared_ptr<State>)) {
    auto running = task(state);
    co_await std::move(running);
    --state->tasks;
    state->changed.cancel();
}

asio::awaitable<void> EventStream::State::begin(std::shared_ptr<State> state) {
    boost::beast::get_lowest_layer(state->stream).expires_never();
    state->tasks = 2;
    asio::co_spawn(state->stream.get_executor(), run(state, &State::watchClient), asio::detached);
    asio::co_spawn(state->stream.get_executor(), run(state, &State::comment), asio::detached);
    std::string head = responseHead(state->chunked);
    co_await state->write(std::move(head));
}

asio::awaitable<void> EventStream::State::end(std::shared_ptr<State> state) {
    error_code ignored;
    std::string lastChunk = "0\r\n\r\n";
    if (state->chunked)
        co_await state->write(std::move(lastChunk));
    co_await state->lockWriting();
    state->ending = true;
    auto& socket = boost::beast::get_lowest_layer(state->stream);
    socket.cancel();
    state->quiet.cancel();
    state->unlockWriting();
    while (state->tasks > 0)
        co_await state->changed.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    if (state->gone)
        co_return;
    socket.expires_after(closingTime);
    co_await state->stream.async_shutdown(asio::redirect_error(asio::use_awaitable, ignored));
}

EventStream::EventStream(std::shared_ptr<State> state)
    : state_(std::move(state)) {}

asio::awaitable<bool> EventStream::send(std::string_view bytes) { return state_->send(bytes); }

asio::awaitable<bool> EventStream::wait(std::chrono::milliseconds duration) { return state_->wait(duration); }

bool EventStream::clientGone() const { return state_->gone; }

} // namespace parlowen::service
