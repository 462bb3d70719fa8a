#pragma once

#include <algorithm>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <csignal>
#include <functional>
#include <list>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

namespace parlowen::testing {

/// Somebody else's server on a free port that does whatever a script writes on a connection.
class ScriptedEndpoint {
public:
    using Stream = boost::asio::ip::tcp::iostream;
    /// Called with a connection from which a request was read. One that leaves it closed ends the connection.
    using Script = std::function<void(Stream&)>;

    explicit ScriptedEndpoint(Script script)
        : script_(std::move(script))
        , accepting_([this] { acceptAll(); }) {
        std::signal(SIGPIPE, SIG_IGN); // which writing to a closed connection would raise
    }
    ~ScriptedEndpoint() {
        ending_ = true;
        Stream wake(acceptor_.local_endpoint());
        accepting_.join();
        for (auto& connection : connections_)
            connection.join();
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port()) + "/v1"; }
    /// The heads of requests, each with its body.
    std::vector<std::string> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    std::size_t connections() const {
        const std::lock_guard lock(mutex_);
        return connections_.size();
    }

    static std::string event(const std::string& piece) {
        return "data: " + nlohmann::json({{"choices", {{{"delta", {{"content", piece}}}}}}}).dump() + "\n\n";
    }
    /// A whole reply that keeps the connection.
    static std::string reply(const std::string& body, const std::string& status = "200 OK",
                             const std::string& headers = "") {
        return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
               body;
    }
    /// The beginning of a reply that ends with its connection.
    static std::string opening() { return "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n"; }

private:
    void acceptAll() {
        while (!ending_) {
            auto stream = std::make_shared<Stream>();
            acceptor_.accept(stream->socket());
            const std::lock_guard lock(mutex_);
            if (!ending_)
                connections_.emplace_back([this, stream] { serve(*stream); });
        }
    }
    void serve(Stream& stream) {
        for (std::string line, head; std::getline(stream, line);) {
            head += line + "\n";
            if (line != "\r")
                continue;
            const auto length = head.find("Content-Length: ");
            std::string body(length == std::string::npos ? 0 : std::stoul(head.substr(length + 16)), '\0');
            stream.read(body.data(), static_cast<std::streamsize>(body.size()));
            {
                const std::lock_guard lock(mutex_);
                requests_.push_back(std::exchange(head, {}) + body);
            }
            script_(stream);
            stream.flush();
        }
    }

    const Script script_;
    boost::asio::io_context io_;
    boost::asio::ip::tcp::acceptor acceptor_{io_, {boost::asio::ip::address_v4::loopback(), 0}};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::list<std::thread> connections_;
    std::atomic<bool> ending_ = false;
    std::thread accepting_;
};

} // namespace parlowen::testing
