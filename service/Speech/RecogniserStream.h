#pragma once

#include "Engine.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace parlowen::service {

/// One stream as the service keeps it: enough of its audio that another process can take over where one ended. On the
/// engine's thread, but for what is atomic.
struct RecogniserStream {
    RecogniserStream(std::uint32_t number, std::string localeToHear, RecognitionSink sinkForEvents)
        : id(number)
        , locale(std::move(localeToHear))
        , sink(std::move(sinkForEvents)) {}

    static constexpr std::int64_t mostBacklog = sampleRate * std::int64_t{30}; ///< about a megabyte

    /// From any thread, as samples arrive: false when they are too many to go on.
    bool arrived(std::int64_t samples);
    void keep(std::vector<std::int16_t> samples);
    /// The recogniser went through the audio up to `taken` and will never ask for what lies before `needed`.
    void onTaken(std::int64_t upTo, std::int64_t needed);
    void forgetBefore(std::int64_t position);
    void tell(RecognitionEvent event) const;

    const std::uint32_t id;
    const std::string locale;
    const RecognitionSink sink;
    std::atomic<std::int64_t> backlog = 0; ///< samples that no recogniser went through
    std::atomic<bool> callerWaits = false;
    std::atomic<bool> closed = false; ///< nothing is told any more

    std::vector<std::int16_t> audio; ///< kept for a replay
    std::int64_t audioStart = 0;     ///< position of its first sample
    std::int64_t taken = 0;
    std::int64_t lastEnd = 0; ///< of speech
    bool finished = false;    ///< no audio will come
};

using RecogniserStreamPtr = std::shared_ptr<RecogniserStream>;

} // namespace parlowen::service
