#pragma once

#include <QMessageBox>
#include <QString>

namespace parlowen {

/// Shows a modal alert with the one button "确定" over the key window and returns when it has been pressed, or closed
/// with Escape. Either text may be empty. The icon is the picture of that name (`namedImage`), the platform's caution
/// icon for an empty one; a critical alert's bears the platform's sign for that. It does not cover the subject that it
/// speaks of, else the part that had the keyboard, where the screen has room beside it. Main thread only: other events
/// are handled meanwhile.
void showAlert(const QString& title, const QString& text, const QString& icon,
               QMessageBox::Icon style = QMessageBox::Warning, const QWidget* subject = nullptr);

/// Where a window, on its own at `wanted`, stands clear of the subject: as near to that as the screen allows, or just
/// there when it has no room beside it. All in the screen's coordinates.
QPoint placeClearOf(const QRect& subject, const QRect& wanted, const QRect& screen);

} // namespace parlowen
