#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

class QWidget;

namespace parlowen {

/// Lets a top-level window stay above ordinary ones, or lets it go, without hiding it on the way. Where the desktop
/// keeps that to itself, a console line says so, once.
void setFloatingLevel(QWidget& window, bool floating);

/// Whether a window may ask the windowing platform of that name to stay above others. Wayland has no such request.
bool platformHasLevels(const QString& platformName);

/// What tells of the desktop before the application object is made: environment variables, empty where unset.
struct DesktopEnvironment {
    QByteArray chosenPlatform; ///< QT_QPA_PLATFORM
    QByteArray waylandDisplay; ///< WAYLAND_DISPLAY
    QByteArray x11Display;     ///< DISPLAY
    static DesktopEnvironment current();
};

/// The platform to choose so that windows have levels: X11 on a Wayland desktop that runs X11 programs too. None where
/// there is nothing to gain, or where the user has chosen.
std::optional<QByteArray> platformWithLevels(const DesktopEnvironment& desktop);

/// Makes that choice. Call it before the application object is made.
void preferPlatformWithLevels();

} // namespace parlowen
