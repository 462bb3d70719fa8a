#include "BaseViewController.h"

#include <Foundation/MainQueue.h>
#include <Tools/PopView/Colors.h>

namespace parlowen {

BaseViewController::BaseViewController(QWidget* parent)
    : QWidget(parent) {}

void BaseViewController::loadViewIfNeeded() {
    if (loaded_)
        return;
    loaded_ = true;
    loadView();
    viewDidLoad();
}

void BaseViewController::setVisible(bool visible) {
    if (visible)
        loadViewIfNeeded();
    QWidget::setVisible(visible);
}

void BaseViewController::loadView() {
    QPalette colours = palette();
    colours.setColor(QPalette::Window, hexColor(theme::pageGround));
    setPalette(colours);
    setAutoFillBackground(true);
}

void BaseViewController::viewDidLoad() {
    afterDelay(0.1, QPointer(this), [this] {
        if (QWidget* field = window()->focusWidget())
            field->clearFocus();
    });
    buildUserInterface();
    buildLayout();
}

} // namespace parlowen
