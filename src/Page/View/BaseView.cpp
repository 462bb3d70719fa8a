#include "BaseView.h"

namespace parlowen {

void BaseView::buildStyle() {
    QPalette colours = palette();
    colours.setColor(QPalette::Window, Qt::white);
    setPalette(colours);
    setAutoFillBackground(true);
}

} // namespace parlowen
