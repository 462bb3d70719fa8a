#pragma once

#include <Foundation/Result.h>

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

namespace parlowen {

/// A shortcut that works while another program has the keyboard: Control, Alt and a letter, unless the desktop lets its
/// user choose other keys.
struct GlobalShortcut {
    QString id;          ///< tells it apart, ASCII
    QString description; ///< for people
    char letter;         ///< 'a' to 'z'
};

/// Where such shortcuts come from. They work until the object goes. Main thread only.
class GlobalShortcuts : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    using Bound = std::function<void(const Result<void>&)>;

    /// Asks for the shortcuts, once. `bound` is called once, later or at once, with why there are none, unless the
    /// object is gone by then; the desktop may ask its user first.
    virtual void bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) = 0;

    /// Those of this desktop: its portal's, else the X server's where the desktop is one of X11.
    static std::unique_ptr<GlobalShortcuts> ofDesktop();

Q_SIGNALS:
    void activated(const QString& id);
};

} // namespace parlowen
