#include "WindowLevel.h"

#include <Foundation/ConsoleLog.h>

#include <QGuiApplication>
#include <QWidget>
#include <QWindow>
#include <mutex>

namespace parlowen {

namespace {

constexpr auto platformVariable = "QT_QPA_PLATFORM";

void sayThatLevelsAreMissing() {
    static std::once_flag said;
    std::call_once(said, [] {
        consoleLog(QStringLiteral(
            "⚠️ Wayland 不允许程序自行置顶窗口，请在窗口管理器的菜单中选择“置顶”"));
    });
}

} // namespace

void setFloatingLevel(QWidget& window, bool floating) {
    if (floating && !platformHasLevels(QGuiApplication::platformName()))
        sayThatLevelsAreMissing();
    // setWindowFlags would hide the window and make it anew.
    window.overrideWindowFlags(window.windowFlags().setFlag(Qt::WindowStaysOnTopHint, floating));
    if (QWindow* handle = window.windowHandle())
        handle->setFlag(Qt::WindowStaysOnTopHint, floating);
}

bool platformHasLevels(const QString& platformName) { return !platformName.startsWith(QLatin1String("wayland")); }

DesktopEnvironment DesktopEnvironment::current() {
    return {qgetenv(platformVariable), qgetenv("WAYLAND_DISPLAY"), qgetenv("DISPLAY")};
}

std::optional<QByteArray> platformWithLevels(const DesktopEnvironment& desktop) {
    const bool both = !desktop.waylandDisplay.isEmpty() && !desktop.x11Display.isEmpty();
    return both && desktop.chosenPlatform.isEmpty() ? std::optional<QByteArray>("xcb;wayland") : std::nullopt;
}

void preferPlatformWithLevels() {
    if (const auto platform = platformWithLevels(DesktopEnvironment::current()))
        qputenv(platformVariable, *platform);
}

} // namespace parlowen
