#include "PropertyListeners.h"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

namespace parlowen {

namespace {

struct Entry {
    AudioObjectID object;
    AudioObjectPropertyAddress pattern;
    AudioServer::Listener listener;
};

std::vector<AudioObjectPropertyAddress> heardBy(const Entry& entry,
                                                const std::vector<AudioObjectPropertyAddress>& addresses) {
    std::vector<AudioObjectPropertyAddress> heard;
    std::copy_if(addresses.begin(), addresses.end(), std::back_inserter(heard),
                 [&](const auto& address) { return matches(entry.pattern, address); });
    return heard;
}

} // namespace

struct PropertyListeners::Registry {
    mutable std::mutex mutex;
    std::condition_variable finished;
    std::map<ListenerToken, std::shared_ptr<const Entry>> entries;
    ListenerToken last = 0;
    ListenerToken running = 0;
    std::thread::id runner;

    void tell(ListenerToken token, const std::vector<AudioObjectPropertyAddress>& addresses) {
        std::unique_lock lock(mutex);
        const auto found = entries.find(token);
        if (found == entries.end())
            return;
        std::shared_ptr<const Entry> entry = found->second;
        running = token;
        runner = std::this_thread::get_id();
        lock.unlock();
        entry->listener(entry->object, addresses);
        entry.reset(); // what the listener holds goes before remove() returns
        lock.lock();
        running = 0;
        finished.notify_all();
    }
};

PropertyListeners::PropertyListeners()
    : registry_(std::make_shared<Registry>())
    , queue_("audio-events") {}

PropertyListeners::~PropertyListeners() {
    std::map<ListenerToken, std::shared_ptr<const Entry>> dropped;
    const std::lock_guard lock(registry_->mutex);
    std::swap(dropped, registry_->entries);
}

ListenerToken PropertyListeners::add(AudioObjectID object, const AudioObjectPropertyAddress& pattern,
                                     AudioServer::Listener listener) {
    auto entry = std::make_shared<const Entry>(Entry{object, pattern, std::move(listener)});
    const std::lock_guard lock(registry_->mutex);
    registry_->entries.emplace(++registry_->last, std::move(entry));
    return registry_->last;
}

bool PropertyListeners::remove(ListenerToken token) {
    std::unique_lock lock(registry_->mutex);
    const auto removed = registry_->entries.extract(token); // let go of after the lock
    if (!removed)
        return false;
    if (registry_->runner != std::this_thread::get_id())
        registry_->finished.wait(lock, [&] { return registry_->running != token; });
    lock.unlock();
    return true;
}

void PropertyListeners::notify(AudioObjectID object, const std::vector<AudioObjectPropertyAddress>& addresses) {
    const std::lock_guard lock(registry_->mutex);
    for (const auto& [token, entry] : registry_->entries) {
        auto heard = entry->object == object ? heardBy(*entry, addresses) : std::vector<AudioObjectPropertyAddress>();
        if (!heard.empty())
            queue_.async(
                [registry = registry_, token = token, heard = std::move(heard)] { registry->tell(token, heard); });
    }
}

void PropertyListeners::drain() { queue_.drain(); }

std::size_t PropertyListeners::count() const {
    const std::lock_guard lock(registry_->mutex);
    return registry_->entries.size();
}

} // namespace parlowen
