#include "Palette.h"

namespace parlowen::palette {

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

} // namespace parlowen::palette
