#pragma once

class QWidget;

/// The application's windows. Main thread only.
namespace parlowen {

/// The content of the window that has the keyboard: what cards are shown over. While none of the application's windows
/// has it, that of the window of `otherwise`, or null without one.
QWidget* keyWindowContent(const QWidget* otherwise = nullptr);

/// Shows the window, not minimised, above the others and with the keyboard.
void bringToFront(QWidget& window);

/// Closes every other window of the application, open dialogs and lists included.
void closeOtherWindows(const QWidget* keep);

} // namespace parlowen
