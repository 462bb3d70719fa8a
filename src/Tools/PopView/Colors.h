#pragma once

#include <QColor>
#include <QPalette>
#include <cstdint>

namespace parlowen {

/// The colour of 0xRRGGBB; an alpha outside 0…1 is clamped.
QColor hexColor(std::uint32_t value, double alpha = 1);

namespace theme {

inline constexpr std::uint32_t accent = 0x19CFAE;        ///< primary buttons, row numbers, selections
inline constexpr std::uint32_t cardBorder = 0x65D6C4;    ///< borders of option cards
inline constexpr std::uint32_t secondary = 0xD7F2F2;     ///< secondary ("cancel") buttons
inline constexpr std::uint32_t pale = 0xEEF2F3;          ///< a further light shade of the same family
inline constexpr std::uint32_t topBar = 0xF2FAF8;        ///< background of the top bar
inline constexpr std::uint32_t darkText = 0x333333;      ///< headings on a light ground
inline constexpr std::uint32_t midGrey = 0x666666;       ///< text of second rank
inline constexpr std::uint32_t lightGrey = 0xB2B2B2;     ///< hints, what is switched off
inline constexpr std::uint32_t field = 0xDCF8F1;         ///< pop-up buttons and boxes on a page
inline constexpr std::uint32_t start = 0x00CEB0;         ///< the start button, the source of the sound
inline constexpr std::uint32_t warning = 0x9A5B00;       ///< on a light ground: what is better changed
inline constexpr std::uint32_t placeholder = 0x8A8A8A;   ///< what an empty field says
inline constexpr std::uint32_t link = 0x0B7F6A;          ///< a darker accent, readable as text on a light ground
inline constexpr std::uint32_t darkGrey = 0x555555;      ///< thin borders on a dark window
inline constexpr std::uint32_t sessionWindow = 0x1D1E1F; ///< background of the session window, before its alpha
inline constexpr std::uint32_t pageGround = 0xF0FBF9;    ///< background of pages
inline constexpr std::uint32_t tip = 0x0FE3BD;           ///< text of tips on a dark window
inline constexpr std::uint32_t darkMenu = 0x2A2C2E;      ///< background of menus of a dark window
inline constexpr std::uint32_t darkDisabled = 0x7C7F82;  ///< what is switched off, on a dark ground
inline constexpr std::uint32_t attention = 0xF2B84B;     ///< on a dark ground: what passes or can be changed
inline constexpr std::uint32_t problem = 0xFF7A6B;       ///< on a dark ground: what does not go on as it is
inline constexpr std::uint32_t onDark = 0xFFFFFF;        ///< text on a dark ground; thin, the lines that lift it off

// How opaque `onDark` is where it only tints.
inline constexpr double hairline = 0.08;   ///< just inside a grey line, which on a light desktop would be lost
inline constexpr double windowEdge = 0.12; ///< round a dark window
inline constexpr double hover = 0.16;
inline constexpr double unlit = 0.22; ///< of a meter
inline constexpr double title = 0.7;  ///< a text of second rank

inline constexpr double chipGround = 0.85; ///< of `darkMenu` under a text on a translucent window

} // namespace theme

/// What a page and its cards are drawn in, whatever the desktop's own colours are: dark text, white fields, pale
/// buttons and the accent colour for what is marked. The ground is `ground`.
QPalette lightPalette(const QColor& ground);

/// Named colours for pages, by family. Each is made once, on first use, on whichever thread asks first.
namespace palette {

namespace CSS {
const QColor& black();
const QColor& white();
const QColor& lightGray();
} // namespace CSS

namespace FlatUI {
const QColor& turquoise();
const QColor& alizarin();
} // namespace FlatUI

namespace Material {
const QColor& teal();
const QColor& red();
} // namespace Material

namespace Social {
const QColor& weChat();
} // namespace Social

} // namespace palette
} // namespace parlowen
