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
        if (waiting_.size() < mostWaiting || one.count == 0 || waiting_.contains(name))
            waiting_.insert_or_assign(std::move(name), one);
    }
    changed_.notify_all();
}

void FailureJournal::forget(const std::string& number) {
    std::unique_lock lock(mutex_);
    // A pair is named by its number and, behind a blank, its place.
    std::erase_if(waiting_, [&](const auto& entry) { return (entry.first.second + " ").starts_with(number + " "); });
    changed_.wait(lock, [this] { return !isKeeping_; });
}

void FailureJournal::run(const std::stop_token& stop) {
    constexpr std::chrono::seconds together{1};
    std::unique_lock lock(mutex_);
    while (changed_.wait(lock, stop, [this] { return !waiting_.empty(); })) {
        std::vector<KeptFailures> failures;
        for (auto& [_, one] : std::exchange(waiting_, {}))
            failures.push_back(std::move(one));
        isKeeping_ = true;
        lock.unlock();
        keep_(failures);
        lock.lock();
        isKeeping_ = false;
        changed_.notify_all();
        changed_.wait_for(lock, stop, together, [] { return false; });
    }
}

} // namespace parlowen::service
