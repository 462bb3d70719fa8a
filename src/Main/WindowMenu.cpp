#include "WindowMenu.h"

#include <Tools/PopView/Accessibility.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QApplication>
#include <utility>

namespace parlowen {

namespace {

QString menuStyle() {
    return QStringLiteral("QMenu { background: white; color: %1; border: 1px solid %2; padding: 5px; }"
                          "QMenu::item { padding: 6px 28px 6px 14px; border-radius: 5px; }"
                          "QMenu::item:selected { background: %2; }"
                          "QMenu::separator { height: 1px; background: %2; margin: 5px 8px; }")
        .arg(hexColor(theme::darkText).name(), hexColor(theme::secondary).name());
}

void onActiveWindow(const std::function<void(QWidget*)>& work) {
    if (QWidget* window = QApplication::activeWindow())
        work(window);
}

} // namespace

WindowMenu::WindowMenu(std::function<void()> showMainWindow, std::function<void()> quit)
    : QMenu(QStringLiteral("Window")) {
    setAccessibleName(title());
    markFirstForKeys(*this);
    setFont(systemFont(13));
    setStyleSheet(menuStyle());
    add(QStringLiteral("Minimize"), Qt::CTRL | Qt::Key_M,
        [] { onActiveWindow([](QWidget* window) { window->showMinimized(); }); });
    add(QStringLiteral("Close"), Qt::CTRL | Qt::Key_W,
        [] { onActiveWindow([](QWidget* window) { window->close(); }); });
    addSeparator();
    showMainWindow_ = add(QStringLiteral("Show Main Window"), Qt::CTRL | Qt::Key_0, std::move(showMainWindow));
    showMainWindow_->setShortcutContext(Qt::ApplicationShortcut);
    addSeparator();
    add(QStringLiteral("Quit"), Qt::CTRL | Qt::Key_Q, std::move(quit));
}

QAction* WindowMenu::add(const QString& text, const QKeySequence& key, std::function<void()> action) {
    QAction* added = addAction(text);
    added->setShortcut(key);
    connect(added, &QAction::triggered, this, std::move(action));
    return added;
}

void WindowMenu::serve(QWidget* window) { window->addActions(actions()); }

} // namespace parlowen

#include "moc_WindowMenu.cpp"
