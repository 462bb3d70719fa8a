#pragma once

#include <QMenu>
#include <functional>

namespace parlowen {

/// The "Window" menu: what is done with the program's windows, each with a key that works in the windows that have been
/// given its actions. Main thread only.
class WindowMenu : public QMenu {
    Q_OBJECT
public:
    WindowMenu(std::function<void()> showMainWindow, std::function<void()> quit);

    /// Has all keys work in that window, minimising and closing it.
    void serve(QWidget* window);
    /// The action "Show Main Window" alone, for a window which no key may close.
    QAction* showMainWindow() const { return showMainWindow_; }

private:
    QAction* add(const QString& text, const QKeySequence& key, std::function<void()> action);

    QAction* showMainWindow_;
};

} // namespace parlowen
