#pragma once

#include <Network/Settings.h>
#include <Shortcuts/GlobalShortcuts.h>

#include <QObject>
#include <functional>
#include <memory>

namespace parlowen {

class SessionWindow;

/// What the global shortcuts do. They are held while the settings say so, and looked at anew on each
/// "GlobalShortcutsNotification". Main thread only.
class SessionShortcuts : public QObject {
    Q_OBJECT
public:
    struct Hooks {
        std::function<SessionWindow*()> session;    ///< the one that runs; null without one
        std::function<void()> start;                ///< starts one
        std::function<void(const QString&)> failed; ///< why there are no shortcuts though they are wanted
        std::function<std::unique_ptr<GlobalShortcuts>()> source = &GlobalShortcuts::ofDesktop;
    };

    /// The settings must outlive it.
    SessionShortcuts(Settings& settings, Hooks hooks);

    /// Does what the shortcut of that name does.
    void act(const QString& id) const;

private:
    void holdOrRelease();

    Settings& settings_;
    const Hooks hooks_;
    std::unique_ptr<GlobalShortcuts> held_;
};

} // namespace parlowen
