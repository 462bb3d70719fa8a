#include "SpeechPacing.h"

#include <algorithm>
#include <cmath>

namespace parlowen {

std::chrono::milliseconds SpeechPacing::wait(std::size_t bytes, Clock::time_point now) {
    const std::chrono::duration<double, std::milli> elapsed = now - last_;
    last_ = now;
    if (credit_ < burst)
        credit_ = std::min(burst, credit_ + elapsed.count() * bytesPerMillisecond);
    const double missing = static_cast<double>(bytes) - credit_;
    return std::chrono::milliseconds(missing > 0 ? std::lround(std::ceil(missing / bytesPerMillisecond)) : 0);
}

} // namespace parlowen
