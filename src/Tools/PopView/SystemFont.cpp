#include "SystemFont.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QScreen>
#include <QStringList>
#include <algorithm>

namespace parlowen {

double fontScale() {
    constexpr double usualDpi = 96;
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen == nullptr ? 1 : std::clamp(screen->logicalDotsPerInchY() / usualDpi, 1.0, 2.0);
}

int inPoints(int points) { return static_cast<int>(points * fontScale()); }

QFont systemFont(int size, QFont::Weight weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setFamilies({font.family(), QStringLiteral("Noto Sans CJK SC")});
    font.setPixelSize(std::max(1, qRound(size * fontScale())));
    font.setWeight(weight);
    return font;
}

} // namespace parlowen
