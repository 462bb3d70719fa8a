#pragma once

#include <atomic>
#include <filesystem>
#include <httplib.h>
#include <string>
#include <thread>

#include "support/TemporaryDirectory.h"

namespace parlowen::testing {

/// Plain HTTP on the loopback interface: the files of a folder, with ranges, and with faults.
class FileServer {
public:
    explicit FileServer(std::filesystem::path folder) {
        server.set_keep_alive_max_count(1);
        server.Get("/(.*)", [this, folder = std::move(folder)](const auto& request, httplib::Response& reply) {
            ++requests;
            const auto file = folder / request.matches[1].str();
            if (!std::filesystem::exists(file))
                reply.status = 404;
            else if (knowsRanges)
                reply.set_content_provider(std::filesystem::file_size(file), "application/octet-stream", giver(file));
            else
                reply.set_chunked_content_provider("application/octet-stream", whole(file));
        });
        port = server.bind_to_any_port("127.0.0.1");
        thread = std::thread([this] { server.listen_after_bind(); });
    }
    ~FileServer() {
        server.stop();
        thread.join();
    }
    FileServer(const FileServer&) = delete;
    FileServer& operator=(const FileServer&) = delete;

    std::string base() const { return "http://127.0.0.1:" + std::to_string(port) + "/"; }

    std::atomic<std::size_t> cutAfter = 0; ///< each connection ends after so many bytes of a file; 0: none does
    std::atomic<bool> knowsRanges = true;
    std::atomic<std::size_t> served = 0; ///< bytes of files
    std::atomic<int> requests = 0;

private:
    httplib::ContentProvider giver(const std::filesystem::path& file) {
        return [this, contents = contentsOf(file), sent = std::size_t{0}](std::size_t from, std::size_t length,
                                                                          httplib::DataSink& sink) mutable {
            const std::size_t room = cutAfter > 0 ? cutAfter - sent : length;
            const std::size_t count = std::min({length, room, std::size_t{100'000}});
            sent += count;
            served += count;
            return count > 0 && sink.write(contents.data() + from, count);
        };
    }

    httplib::ContentProviderWithoutLength whole(const std::filesystem::path& file) {
        return [this, contents = contentsOf(file)](std::size_t, httplib::DataSink& sink) {
            served += contents.size();
            const bool written = sink.write(contents.data(), contents.size());
            sink.done();
            return written;
        };
    }

    httplib::Server server;
    int port = 0;
    std::thread thread;
};

} // namespace parlowen::testing
