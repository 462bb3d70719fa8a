#pragma once

class QMenu;

namespace parlowen {

/// Gives a menu the session window's look.
void makeDark(QMenu& menu);

} // namespace parlowen
