#include "SystemFont.h"

#include <QFontDatabase>
#include <QStringList>
#include <algorithm>

namespace parlowen {

QFont systemFont(int size, QFont::Weight weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setFamilies({font.family(), QStringLiteral("Noto Sans CJK SC")});
    font.setPixelSize(std::max(1, size));
    font.setWeight(weight);
    return font;
}

} // namespace parlowen
