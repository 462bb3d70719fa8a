#pragma once

#include "PulseConnection.h"

#include <condition_variable>
#include <mutex>
#include <optional>

namespace parlowen {

/// A request whose answer somebody waits for.
struct PulseConnection::Request {
    PulseOperation operation; // under the main loop's lock

    /// The first answer counts.
    void answer(const Answer& answer) {
        const std::lock_guard lock(mutex_);
        if (!answer_)
            answer_ = answer;
        answered_.notify_all();
    }

    Answer wait(std::chrono::milliseconds bound) {
        std::unique_lock lock(mutex_);
        if (!answered_.wait_for(lock, bound, [this] { return answer_.has_value(); }))
            return {PA_ERR_TIMEOUT};
        return *answer_;
    }

private:
    std::mutex mutex_;
    std::condition_variable answered_;
    std::optional<Answer> answer_;
};

} // namespace parlowen
