#pragma once

#include <map>
#include <memory>
#include <mutex>

namespace parlowen {

class AudioServer;

/// One shared T for each audio server, made on first use from the server and kept as long as somebody holds it. A T
/// holds its server, so that no other server can take its place under the same address. Any thread.
template<class T>
class PerServer {
public:
    std::shared_ptr<T> of(const std::shared_ptr<AudioServer>& server) {
        const std::lock_guard lock(mutex_);
        std::erase_if(entries_, [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<T>& entry = entries_[server.get()];
        std::shared_ptr<T> shared = entry.lock();
        if (!shared) {
            shared = std::make_shared<T>(server);
            entry = shared;
        }
        return shared;
    }

private:
    std::mutex mutex_;
    std::map<AudioServer*, std::weak_ptr<T>> entries_;
};

} // namespace parlowen
