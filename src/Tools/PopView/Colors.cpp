#include "Colors.h"

#include <algorithm>

namespace parlowen {

QColor hexColor(std::uint32_t value, double alpha) {
    const auto byte = [value](int shift) { return static_cast<int>((value >> shift) & 0xFFU); };
    QColor color(byte(16), byte(8), byte(0));
    color.setAlphaF(static_cast<float>(std::clamp(alpha, 0.0, 1.0)));
    return color;
}

} // namespace parlowen
