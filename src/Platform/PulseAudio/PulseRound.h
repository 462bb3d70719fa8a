#pragma once

#include "PulseSnapshot.h"

#include "PulseHandles.h"
#include <functional>
#include <vector>

namespace parlowen {

/// Reads the server's whole state: a handful of requests that are sent together, without waiting in between. Lives on
/// the main loop's thread or under its lock.
class PulseRound {
public:
    /// `done` is called once, on the main loop's thread, when the last answer is in; it may drop the round. A round
    /// that is dropped before, or whose context fails, never calls it.
    PulseRound(pa_context* context, std::function<void(PulseSnapshot)> done);
    PulseRound(const PulseRound&) = delete;
    PulseRound& operator=(const PulseRound&) = delete;

    std::size_t requestCount() const { return operations_.size(); }

private:
    static void onServer(pa_context* context, const pa_server_info* info, void* round);
    template<class Info>
    static void onItem(pa_context* context, const Info* info, int end, void* round);
    void answered();

    PulseSnapshot snapshot_;
    std::function<void(PulseSnapshot)> done_;
    std::size_t outstanding_ = 0;
    std::vector<PulseOperation> operations_;
};

} // namespace parlowen
