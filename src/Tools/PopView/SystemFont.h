#pragma once

#include <QFont>

namespace parlowen {

/// The system's interface font in a size of device-independent pixels (1 or more). Chinese text falls back to
/// simplified glyph shapes, which the system's own fallback leaves to the locale.
QFont systemFont(int size, QFont::Weight weight = QFont::Normal);

/// The size of the small font for tips.
inline constexpr int smallFontSize = 10;

} // namespace parlowen
