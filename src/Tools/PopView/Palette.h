#pragma once

#include <QColor>

/// Named colours for pages, by family. Each is made once, on first use, on whichever thread asks first.
namespace parlowen::palette {

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

} // namespace parlowen::palette
