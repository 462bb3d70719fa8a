#pragma once

#include <memory>
#include <utility>

#include "SPXPushAudioInputStream.h"

namespace parlowen {

/// Where a recognizer's audio comes from: a push stream.
class SPXAudioConfiguration {
public:
    explicit SPXAudioConfiguration(std::shared_ptr<SPXPushAudioInputStream> stream)
        : stream_(std::move(stream)) {}

    const std::shared_ptr<SPXPushAudioInputStream>& stream() const { return stream_; }

private:
    std::shared_ptr<SPXPushAudioInputStream> stream_;
};

} // namespace parlowen
