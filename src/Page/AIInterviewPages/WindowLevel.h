#pragma once

class QWidget;

namespace parlowen {

/// Lets a top-level window stay above ordinary ones, or lets it go, without hiding it on the way.
void setFloatingLevel(QWidget& window, bool floating);

} // namespace parlowen
