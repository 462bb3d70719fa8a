#pragma once

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <filesystem>
#include <string>
#include <thread>

#include "support/TemporaryDirectory.h"

namespace parlowen::testing {

/// Plain HTTP on the loopback interface: the files of a folder, with ranges, and with faults.
class FileServer {
public:
    explicit FileServer(std::filesystem::path filesToServe)
        : folder(std::move(filesToServe))
        , thread([this] { serve(); }) {}
    ~FileServer() {
        stopping = true;
        boost::asio::ip::tcp::socket poke(io);
        boost::system::error_code ignored;
        poke.connect(acceptor.local_endpoint(), ignored);
        thread.join();
    }
    FileServer(const FileServer&) = delete;
    FileServer& operator=(const FileServer&) = delete;

    std::string base() const { return "http://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()) + "/"; }

    std::atomic<std::size_t> cutAfter = 0; ///< each connection ends after so many bytes of a file; 0: none does
    std::atomic<bool> knowsRanges = true;
    std::atomic<std::size_t> served = 0; ///< bytes of files
    std::atomic<int> requests = 0;

private:
    using tcp = boost::asio::ip::tcp;

    void serve() {
        while (!stopping) {
            tcp::socket socket(io);
            boost::system::error_code error;
            acceptor.accept(socket, error);
            if (!error && !stopping)
                answer(socket);
        }
    }

    void answer(tcp::socket& socket) {
        boost::beast::flat_buffer buffer;
        boost::beast::http::request<boost::beast::http::empty_body> request;
        boost::system::error_code error;
        boost::beast::http::read(socket, buffer, request, error);
        if (error)
            return;
        ++requests;
        const auto file = folder / std::string(request.target().substr(1));
        if (!std::filesystem::exists(file))
            return send(socket, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
        const auto contents = contentsOf(file);
        std::size_t from = 0;
        const std::string range(request["Range"]);
        if (knowsRanges && range.starts_with("bytes="))
            from = std::stoul(range.substr(6));
        auto body = contents.substr(std::min(from, contents.size()));
        send(socket, (from > 0 ? "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(from) + "-" +
                                     std::to_string(contents.size() - 1) + "/" + std::to_string(contents.size())
                               : "HTTP/1.1 200 OK") +
                         std::string("\r\nContent-Length: ") + std::to_string(body.size()) + "\r\n\r\n");
        if (cutAfter > 0)
            body.resize(std::min<std::size_t>(cutAfter, body.size()));
        served += body.size();
        send(socket, body);
    }

    static void send(tcp::socket& socket, const std::string& bytes) {
        boost::system::error_code ignored;
        boost::asio::write(socket, boost::asio::buffer(bytes), ignored);
    }

    const std::filesystem::path folder;
    boost::asio::io_context io;
    tcp::acceptor acceptor{io, {boost::asio::ip::address_v4::loopback(), 0}};
    std::atomic<bool> stopping = false;
    std::thread thread;
};

} // namespace parlowen::testing
