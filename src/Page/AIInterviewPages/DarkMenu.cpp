#include "DarkMenu.h"

#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QMenu>

namespace parlowen {

void makeDark(QMenu& menu) {
    menu.setFont(systemFont(13));
    menu.setAttribute(Qt::WA_TranslucentBackground);
    menu.setWindowFlag(Qt::FramelessWindowHint);
    menu.setStyleSheet(styleSheets::darkMenu());
}

} // namespace parlowen
