#pragma once

#include <chrono>
#include <vector>

namespace parlowen::service {

/// Where the piece was at a time while somebody moved it.
struct DragStep {
    double time = 0; ///< ms, on the page's clock
    double x = 0;    ///< left edge, in pixels of the picture
};

/// Whether steps look like a hand's, with mouse, finger or keys: they begin on the left, end at `x`, take a while, but
/// no longer than the page has been there (`atMost`), make no leaps and are not all alike.
bool isDrag(const std::vector<DragStep>& trace, double x, std::chrono::milliseconds atMost);

} // namespace parlowen::service
