#pragma once

#include <QColor>
#include <cstdint>

namespace parlowen {

/// The colour of 0xRRGGBB; an alpha outside 0…1 is clamped.
QColor hexColor(std::uint32_t value, double alpha = 1);

namespace theme {

inline constexpr std::uint32_t accent = 0x19CFAE;        ///< primary buttons, row numbers, selections
inline constexpr std::uint32_t darkGrey = 0x555555;      ///< thin borders on a dark window
inline constexpr std::uint32_t sessionWindow = 0x1D1E1F; ///< background of the session window, before its alpha

} // namespace theme
} // namespace parlowen
