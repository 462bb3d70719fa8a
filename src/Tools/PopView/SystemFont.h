#pragma once

#include <QFont>

namespace parlowen {

/// How much larger than usual the user wants text alone (1 is as usual; never smaller). What the user wants of the
/// whole interface is the screen's scale instead.
double fontScale();
/// A length of so many pixels at the usual font scale.
int inPoints(int points);

/// The system's interface font in a size of points, a device-independent pixel each at the usual font scale (1 or
/// more). Chinese text falls back to simplified glyph shapes, which the system's own fallback leaves to the locale.
QFont systemFont(int size, QFont::Weight weight = QFont::Normal);

/// The size of the small font for tips.
inline constexpr int smallFontSize = 10;

} // namespace parlowen
