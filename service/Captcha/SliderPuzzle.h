#pragma once

#include "Pictures/Picture.h"

#include <cstdint>
#include <functional>

namespace parlowen::service {

/// A random number from 0 to below the bound.
using RandomBelow = std::function<std::uint32_t(std::uint32_t bound)>;

/// A picture with a hole, and the piece that was cut out of it.
struct SliderPuzzle {
    static constexpr int width = 320;
    static constexpr int height = 170;
    static constexpr int pieceSize = 56; ///< width and height of the piece's picture

    Picture background;
    Picture piece; ///< transparent where the piece is not
    int x = 0;     ///< left edge of the hole: the answer
    int y = 0;     ///< its upper edge
};

/// Draws a new one. A second, false hole has another form.
SliderPuzzle drawPuzzle(const RandomBelow& random);

} // namespace parlowen::service
