#pragma once

#include <Shortcuts/GlobalShortcuts.h>

#include <QWidget>

class QCheckBox;

namespace parlowen {

class Settings;

/// The shortcuts that work while another program has the keyboard: "window", "ask" and "run".
std::vector<GlobalShortcut> sessionShortcuts();

/// Turns these shortcuts on and off, and says which they are. A change is stored, and told in
/// "GlobalShortcutsNotification". Main thread only.
class ShortcutSwitch : public QWidget {
    Q_OBJECT
public:
    /// The settings must outlive it.
    ShortcutSwitch(Settings& settings, QWidget* parent);

    QCheckBox* box() const { return box_; }

private:
    QCheckBox* box_;
};

} // namespace parlowen
