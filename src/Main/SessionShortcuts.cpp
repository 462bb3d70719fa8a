#include "SessionShortcuts.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/NotificationCenter.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Page/View/ShortcutSwitch.h>

#include <utility>

namespace parlowen {

namespace {

void showOrHide(QWidget& window) {
    window.setVisible(!window.isVisible());
    if (window.isVisible())
        window.raise();
}

} // namespace

SessionShortcuts::SessionShortcuts(Settings& settings, Hooks hooks)
    : settings_(settings)
    , hooks_(std::move(hooks)) {
    NotificationCenter::shared().observe(QStringLiteral("GlobalShortcutsNotification"), this,
                                         [this](const Notification&) { holdOrRelease(); });
    holdOrRelease();
}

void SessionShortcuts::holdOrRelease() {
    const bool wanted = settings_.globalShortcuts();
    if (wanted == (held_ != nullptr))
        return;
    if (!wanted) {
        held_.reset();
        return;
    }
    held_ = hooks_.source();
    connect(held_.get(), &GlobalShortcuts::activated, this, &SessionShortcuts::act);
    held_->bind(sessionShortcuts(), [this](const Result<void>& bound) {
        if (bound)
            return;
        consoleLog(QStringLiteral("⚠️ 全局快捷键不可用: ") + bound.error());
        if (hooks_.failed)
            hooks_.failed(bound.error());
    });
}

void SessionShortcuts::act(const QString& id) const {
    consoleLog(QStringLiteral("⌨️ 全局快捷键: ") + id);
    SessionWindow* const session = hooks_.session();
    if (id == QLatin1String("run") && session == nullptr)
        hooks_.start();
    else if (session == nullptr)
        return;
    else if (id == QLatin1String("run"))
        session->close();
    else if (id == QLatin1String("ask") && session->controller()->isManual())
        session->controller()->aiResponseTapped();
    else if (id == QLatin1String("window"))
        showOrHide(*session);
}

} // namespace parlowen

#include "moc_SessionShortcuts.cpp"
