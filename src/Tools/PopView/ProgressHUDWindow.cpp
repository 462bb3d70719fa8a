#include "ProgressHUDWindow.h"

#include <QGuiApplication>
#include <QScreen>

namespace parlowen {

ProgressHUDWindow::ProgressHUDWindow()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowTransparentForInput |
                           Qt::WindowDoesNotAcceptFocus) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_QuitOnClose, false);
    // Where nothing composes windows a clear one would be black: this one's shape is a single point.
    setMask(QRegion(0, 0, 1, 1));
}

void ProgressHUDWindow::present() {
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return;
    setGeometry(screens.front()->geometry());
    show();
}

} // namespace parlowen
