#pragma once

#include "Speech/Engine.h"
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace parlowen::testing {

/// Everything that one stream tells.
class Told {
public:
    service::RecognitionSink sink() {
        return [this](service::RecognitionEvent event) {
            const std::lock_guard lock(mutex);
            events.push_back(std::move(event));
            changed.notify_all();
        };
    }
    /// False when it does not come true in time.
    bool waitUntil(const std::function<bool(const std::vector<service::RecognitionEvent>&)>& condition) {
        std::unique_lock lock(mutex);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
        while (!condition(events) && std::chrono::steady_clock::now() < deadline)
            changed.wait_for(lock, std::chrono::milliseconds(10));
        return condition(events);
    }
    bool waitFor(service::RecognitionEvent::Kind kind, std::ptrdiff_t times = 1) {
        return waitUntil(
            [=](const auto& all) { return std::ranges::count(all, kind, &service::RecognitionEvent::kind) >= times; });
    }
    std::vector<service::RecognitionEvent> all(service::RecognitionEvent::Kind kind) {
        const std::lock_guard lock(mutex);
        std::vector<service::RecognitionEvent> found = events;
        std::erase_if(found, [kind](const auto& event) { return event.kind != kind; });
        return found;
    }
    std::string text() {
        std::string joined;
        for (const auto& event : all(service::RecognitionEvent::Kind::Final))
            joined += event.text + " ";
        return joined;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<service::RecognitionEvent> events;
};

} // namespace parlowen::testing
