#include "FailureJournal.h"

#include <chrono>

namespace parlowen::service {

FailureJournal::FailureJournal(KeepFailures keep)
    : keep_(std::move(keep))
    , thread_([this](const std::stop_token& stop) { run(stop); }) {}

FailureJournal::~FailureJournal() {
    thread_.request_stop();
    thread_.join();
}

void FailureJournal::note(const std::vector<KeptFailures>& failures) {
    const std::lock_guard lock(mutex_);
    for (const KeptFailures& one : failures) {
        std::pair name(one.kind, one.name);
        if (waiting_.size() < mostWaiting || waiting_.contains(name))
            waiting_.insert_or_assign(std::move(name), one);
    }
    changed_.notify_all();
}

void FailureJournal::run(const std::stop_token& stop) {
    constexpr std::chrono::seconds together{1};
    std::unique_lock lock(mutex_);
    while (changed_.wait(lock, stop, [this] { return !waiting_.empty(); }) || !waiting_.empty()) {
        std::vector<KeptFailures> failures;
        for (auto& [_, one] : std::exchange(waiting_, {}))
            failures.push_back(std::move(one));
        lock.unlock();
        keep_(failures);
        lock.lock();
        changed_.wait_for(lock, stop, together, [] { return false; });
    }
}

} // namespace parlowen::service
