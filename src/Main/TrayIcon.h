#pragma once

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <functional>

namespace parlowen {

/// The program in the desktop's tray: a way back to its windows while they are closed. Main thread only.
class TrayIcon : public QObject {
    Q_OBJECT
public:
    /// What its menu does.
    struct Actions {
        std::function<void()> show;
        std::function<void()> interview;
        std::function<void()> rehearse; ///< not offered when empty
        std::function<void()> quit;
    };

    explicit TrayIcon(Actions actions);

    /// Whether there is a tray at the moment that shows it.
    bool isInSight() const;
    QMenu* menu() { return &menu_; }
    /// Says once that the program goes on here; later calls do nothing.
    void sayThatItIsHere();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void add(const char* text, const std::function<void()>& action);
    void sayTexts();

    QMenu menu_; ///< before the icon, which shows it
    QSystemTrayIcon icon_;
    bool said_ = false;
};

} // namespace parlowen
