#pragma once

#include <QAccessible>

class QMenu;
class QWidget;

namespace parlowen {

/// Makes assistive technology take a plain widget for what it is. To be said in the widget's constructor: later
/// somebody may have asked already.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

/// Makes the menu mark its first choice when no mouse button opens it, as a screen reader says what is marked and
/// nothing else of a menu that opens.
void markFirstForKeys(QMenu& menu);

} // namespace parlowen
