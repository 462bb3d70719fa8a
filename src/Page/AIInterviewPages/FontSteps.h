#pragma once

#include <algorithm>
#include <cstdint>

/// The font sizes of the session's lists, in points.
namespace parlowen::FontSteps {

inline constexpr int smallest = 14;
inline constexpr int largest = 24;
inline constexpr int step = 2;
inline constexpr int usual = smallest;

/// The size, or the limit that it lies beyond.
constexpr int within(std::int64_t size) { return static_cast<int>(std::clamp<std::int64_t>(size, smallest, largest)); }

/// The next step above a size, which need not be a step itself; the largest has none above it.
constexpr int larger(int size) {
    return std::clamp(smallest + ((size - smallest) / step + 1) * step, smallest, largest);
}

/// The next step below.
constexpr int smaller(int size) {
    return std::clamp(smallest + ((size - smallest + step - 1) / step - 1) * step, smallest, largest);
}

} // namespace parlowen::FontSteps
