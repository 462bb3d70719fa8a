#include "Colors.h"

#include <algorithm>

namespace parlowen {

QColor hexColor(std::uint32_t value, double alpha) {
    const auto byte = [value](int shift) { return static_cast<int>((value >> shift) & 0xFFU); };
    QColor color(byte(16), byte(8), byte(0));
    color.setAlphaF(static_cast<float>(std::clamp(alpha, 0.0, 1.0)));
    return color;
}

QPalette lightPalette(const QColor& ground) {
    const QColor text = hexColor(theme::darkText);
    const QColor button = hexColor(theme::pale);
    QPalette colors(button, ground);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        colors.setColor(role, text);
    colors.setColor(QPalette::Base, Qt::white);
    colors.setColor(QPalette::AlternateBase, hexColor(theme::topBar));
    colors.setColor(QPalette::PlaceholderText, hexColor(theme::placeholder));
    colors.setColor(QPalette::ToolTipBase, Qt::white);
    colors.setColor(QPalette::ToolTipText, text);
    colors.setColor(QPalette::Highlight, hexColor(theme::accent));
    colors.setColor(QPalette::HighlightedText, Qt::black);
    colors.setColor(QPalette::Link, hexColor(theme::link));
    colors.setColor(QPalette::LinkVisited, hexColor(theme::link));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        colors.setColor(QPalette::Disabled, role, hexColor(theme::lightGrey));
    return colors;
}

namespace palette {

namespace {

// Components in 0…1.
QColor opaque(float red, float green, float blue) { return QColor::fromRgbF(red, green, blue); }

} // namespace

const QColor& CSS::black() {
    static const QColor color = opaque(0, 0, 0);
    return color;
}

const QColor& CSS::white() {
    static const QColor color = opaque(1, 1, 1);
    return color;
}

const QColor& CSS::lightGray() {
    static const QColor color = opaque(0.827F, 0.827F, 0.827F);
    return color;
}

const QColor& FlatUI::turquoise() {
    static const QColor color = opaque(0.102F, 0.737F, 0.612F);
    return color;
}

const QColor& FlatUI::alizarin() {
    static const QColor color = opaque(0.906F, 0.298F, 0.235F);
    return color;
}

const QColor& Material::teal() {
    static const QColor color = opaque(0, 0.588F, 0.533F);
    return color;
}

const QColor& Material::red() {
    static const QColor color = opaque(0.957F, 0.263F, 0.212F);
    return color;
}

const QColor& Social::weChat() {
    static const QColor color = opaque(0.027F, 0.757F, 0.376F);
    return color;
}

} // namespace palette

} // namespace parlowen
