#include "EventStream.h"

#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <cstdio>
#include <utility>

namespace parlowen::service {

namespace asio = boost::asio;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

namespace {

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

EventStream::EventStream(TlsStream connection, Limits limits, bool inChunks)
    : stream_(std::move(connection))
    , limits_(limits)
    , chunked_(inChunks)
    , lastSent_(Clock::now())
    , changed_(stream_.get_executor(), Clock::time_point::max())
    , quiet_(stream_.get_executor()) {}

asio::awaitable<void> EventStream::lockWriting() {
    error_code ignored;
    while (writing_)
        co_await changed_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    writing_ = true;
}

void EventStream::unlockWriting() {
    writing_ = false;
    changed_.cancel();
}

void EventStream::clientWent() {
    gone_ = true;
    quiet_.cancel();
    if (const auto act = std::exchange(whenGone_, nullptr))
        act();
}

void EventStream::whenGone(std::function<void()> act) {
    whenGone_ = std::move(act);
    if (gone_)
        clientWent();
}

asio::awaitable<void> EventStream::write(std::string bytes) {
    co_await lockWriting();
    error_code failed;
    if (!gone_) {
        // The watch reads without a limit all the while, so this one holds for the writing alone.
        stream_.writing_expires_after(limits_.write);
        co_await asio::async_write(stream_, asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, failed));
    }
    lastSent_ = Clock::now();
    if (failed)
        clientWent();
    unlockWriting();
}

asio::awaitable<bool> EventStream::send(std::string_view bytes) {
    std::string written = chunked_ ? asChunk(bytes) : std::string(bytes);
    // An empty chunk would end the body.
    if (!bytes.empty())
        co_await write(std::move(written));
    co_return !gone_;
}

asio::awaitable<void> EventStream::watchClient() {
    std::array<char, 256> bytes{};
    error_code failed;
    while (!failed && !ending_)
        co_await stream_.async_read_some(asio::buffer(bytes), asio::redirect_error(asio::use_awaitable, failed));
    if (!ending_)
        clientWent();
}

asio::awaitable<void> EventStream::comment() {
    error_code ignored;
    while (!gone_ && !ending_) {
        quiet_.expires_at(lastSent_ + limits_.comment);
        co_await quiet_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
        const bool due = Clock::now() - lastSent_ >= limits_.comment;
        if (due && !gone_ && !ending_)
            co_await send(": wait\n\n");
    }
}

void EventStream::start(asio::awaitable<void> task) {
    ++tasks_;
    asio::co_spawn(stream_.get_executor(), std::move(task), [self = shared_from_this()](const std::exception_ptr&) {
        --self->tasks_;
        self->changed_.cancel();
    });
}

asio::awaitable<void> EventStream::begin() {
    stream_.expires_never();
    start(watchClient());
    start(comment());
    std::string head = responseHead(chunked_);
    co_await write(std::move(head));
}

asio::awaitable<void> EventStream::end() {
    error_code ignored;
    std::string lastChunk = "0\r\n\r\n";
    if (chunked_)
        co_await write(std::move(lastChunk));
    co_await lockWriting();
    ending_ = true;
    stream_.cancel();
    quiet_.cancel();
    unlockWriting();
    while (tasks_ > 0)
        co_await changed_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    if (gone_)
        co_return;
    stream_.expires_after(closingTime);
    co_await stream_.async_shutdown(asio::redirect_error(asio::use_awaitable, ignored));
}

} // namespace parlowen::service
