#include "WindowLevel.h"

#include <QWidget>
#include <QWindow>

namespace parlowen {

void setFloatingLevel(QWidget& window, bool floating) {
    // setWindowFlags would hide the window and make it anew.
    window.overrideWindowFlags(window.windowFlags().setFlag(Qt::WindowStaysOnTopHint, floating));
    if (QWindow* handle = window.windowHandle())
        handle->setFlag(Qt::WindowStaysOnTopHint, floating);
}

} // namespace parlowen
