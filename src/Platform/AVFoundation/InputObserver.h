#pragma once

#include "InputStatus.h"

#include <functional>
#include <memory>

namespace parlowen {

/// Told how it stands with the input of a capture, on a thread of the capture, which waits for it. All optional.
struct InputObserver {
    std::function<void(const InputStatus&)> changed;
    std::function<void(double seconds)> missed; ///< so much was not captured; less than a second is not told
    std::shared_ptr<InputMeter> meter;
};

} // namespace parlowen
