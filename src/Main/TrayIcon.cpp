#include "TrayIcon.h"

#include <Tools/PopView/Factories.h>

#include <utility>

namespace parlowen {

TrayIcon::TrayIcon(Actions actions)
    : icon_(namedImage(QStringLiteral("logo"))) {
    const auto add = [this](const QString& text, const std::function<void()>& action) {
        if (action)
            connect(menu_.addAction(text), &QAction::triggered, this, action);
    };
    add(QStringLiteral("显示主窗口"), actions.show);
    menu_.addSeparator();
    add(QStringLiteral("开始面试"), actions.interview);
    add(QStringLiteral("用示例排练"), actions.rehearse);
    menu_.addSeparator();
    add(QStringLiteral("退出"), actions.quit);
    icon_.setToolTip(QStringLiteral("Parlowen"));
    icon_.setContextMenu(&menu_);
    connect(&icon_, &QSystemTrayIcon::activated, this,
            [show = std::move(actions.show)](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                    show();
            });
    icon_.show(); // also where there is no tray yet: it appears once there is one
}

bool TrayIcon::isInSight() const { return icon_.isVisible() && QSystemTrayIcon::isSystemTrayAvailable(); }

void TrayIcon::sayThatItIsHere() {
    if (std::exchange(said_, true) || !QSystemTrayIcon::supportsMessages())
        return;
    icon_.showMessage(QStringLiteral("Parlowen 仍在运行"), QStringLiteral("点击托盘图标可以随时打开或退出。"));
}

} // namespace parlowen
