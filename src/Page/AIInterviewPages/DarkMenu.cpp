#include "DarkMenu.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QMenu>

namespace parlowen {

void makeDark(QMenu& menu) {
    menu.setFont(systemFont(13));
    menu.setAttribute(Qt::WA_TranslucentBackground);
    menu.setWindowFlag(Qt::FramelessWindowHint);
    menu.setStyleSheet(
        QStringLiteral("QMenu { background: #2a2c2e; border: 1px solid %1; border-radius: 8px; padding: 5px; }"
                       "QMenu::item { color: white; padding: 5px 24px 5px 14px; border-radius: 5px; }"
                       "QMenu::item:selected { background: %2; color: %3; }"
                       "QMenu::item:disabled { color: #7c7f82; background: transparent; }"
                       "QMenu::separator { height: 1px; background: %1; margin: 4px 8px; }")
            .arg(hexColor(theme::darkGrey).name(), hexColor(theme::accent).name(),
                 hexColor(theme::sessionWindow).name()));
}

} // namespace parlowen
