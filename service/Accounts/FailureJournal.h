#pragma once

#include "SignInLimits.h"

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>
#include <utility>

namespace parlowen::service {

/// Keeps failed sign-ins on a thread of its own, what came together within a second at once, so that requests wait for
/// one write a second at most because others guess. The destructor keeps the rest. Thread-safe.
class FailureJournal {
public:
    static constexpr std::size_t mostWaiting = 4'096; ///< names; what else fails in that second is not kept

    explicit FailureJournal(KeepFailures keep);
    ~FailureJournal();
    FailureJournal(const FailureJournal&) = delete;
    FailureJournal& operator=(const FailureJournal&) = delete;

    void note(const std::vector<KeptFailures>& failures);
    /// Keeps nothing of a number any more that was noted before; waits for what is being kept.
    void forget(const std::string& number);

private:
    void run(const std::stop_token& stop);

    const KeepFailures keep_;
    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::map<std::pair<std::string, std::string>, KeptFailures> waiting_; ///< by kind and name, the latest
    bool isKeeping_ = false;
    std::jthread thread_;
};

} // namespace parlowen::service
