#include "Windows.h"

#include <QApplication>
#include <QMainWindow>
#include <QPointer>
#include <vector>

namespace parlowen {

QWidget* keyWindowContent(const QWidget* otherwise) {
    QWidget* window = QApplication::activeWindow();
    if (window == nullptr && otherwise != nullptr)
        window = otherwise->window();
    const auto* framed = qobject_cast<const QMainWindow*>(window);
    return framed != nullptr && framed->centralWidget() != nullptr ? framed->centralWidget() : window;
}

void bringToFront(QWidget& window) {
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

void closeOtherWindows(const QWidget* keep) {
    // A window that closes may take others along.
    std::vector<QPointer<QWidget>> open;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window != keep && window->isVisible())
            open.emplace_back(window);
    }
    for (const QPointer<QWidget>& window : open) {
        if (window)
            window->close();
    }
}

} // namespace parlowen
