#include "TrayIcon.h"

#include <Tools/PopView/Factories.h>

#include <QEvent>
#include <utility>

namespace parlowen {

TrayIcon::TrayIcon(Actions actions)
    : icon_(namedImage(QStringLiteral("logo"))) {
    add(QT_TRANSLATE_NOOP("parlowen::TrayIcon", "显示主窗口"), actions.show);
    menu_.addSeparator();
    add(QT_TRANSLATE_NOOP("parlowen::TrayIcon", "开始面试"), actions.interview);
    add(QT_TRANSLATE_NOOP("parlowen::TrayIcon", "用示例排练"), actions.rehearse);
    menu_.addSeparator();
    add(QT_TRANSLATE_NOOP("parlowen::TrayIcon", "退出"), actions.quit);
    sayTexts();
    menu_.installEventFilter(this);
    icon_.setToolTip(QStringLiteral("Parlowen"));
    icon_.setContextMenu(&menu_);
    connect(&icon_, &QSystemTrayIcon::activated, this,
            [show = std::move(actions.show)](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                    show();
            });
    icon_.show(); // also where there is no tray yet: it appears once there is one
}

void TrayIcon::add(const char* text, const std::function<void()>& action) {
    if (!action)
        return;
    QAction* added = menu_.addAction(QString());
    added->setData(QByteArray(text));
    connect(added, &QAction::triggered, this, action);
}

void TrayIcon::sayTexts() {
    for (QAction* action : menu_.actions()) {
        if (!action->isSeparator())
            action->setText(tr(action->data().toByteArray().constData()));
    }
}

bool TrayIcon::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::LanguageChange)
        sayTexts();
    return QObject::eventFilter(watched, event);
}

bool TrayIcon::isInSight() const { return icon_.isVisible() && QSystemTrayIcon::isSystemTrayAvailable(); }

void TrayIcon::sayThatItIsHere() {
    if (std::exchange(said_, true) || !QSystemTrayIcon::supportsMessages())
        return;
    // With its own icon: some trays show the message's in the place of the program's for a while.
    icon_.showMessage(tr("Parlowen 仍在运行"), tr("点击托盘图标可以随时打开或退出。"), icon_.icon());
}

} // namespace parlowen

#include "moc_TrayIcon.cpp"
