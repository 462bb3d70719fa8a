#pragma once

#include "Protocol/Frames.h"

#include <functional>

namespace parlowen::recogniser {

/// All streams of one model: frames of the kinds Open, Audio, Finish and Close in, those of Event, Taken and Load out.
class StreamHost {
public:
    /// Called on several threads, one call at a time.
    using Output = std::function<void(const Frame&)>;

    virtual ~StreamHost() = default;
    virtual void handle(const Frame& frame) = 0;
};

/// The body of a frame of kind `Taken`.
std::string takenBody(std::int64_t taken, std::int64_t needed);
/// Of kind `Load` or `Ready`.
std::string capacityBody(std::size_t streams);
/// `at` of the body of a frame of kind `Open`; 0 when it does not tell.
std::int64_t startOf(const Frame& open);

} // namespace parlowen::recogniser
