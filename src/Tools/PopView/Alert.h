#pragma once

#include <QMessageBox>
#include <QString>

namespace parlowen {

/// Shows a modal alert with the one button "确定" over the key window and returns when it has been pressed, or closed
/// with Escape. Either text may be empty. The icon is the picture of that name (`namedImage`), the platform's caution
/// icon for an empty one; a critical alert's bears the platform's sign for that. Main thread only: other events are
/// handled meanwhile.
void showAlert(const QString& title, const QString& text, const QString& icon,
               QMessageBox::Icon style = QMessageBox::Warning);

} // namespace parlowen
