#include "BaseViewController.h"

#include <Foundation/MainQueue.h>
#include <Tools/PopView/Colors.h>

#include <QShowEvent>

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
    setPalette(lightPalette(hexColor(theme::pageGround)));
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

void BaseViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous()) // its window was only out of sight
        return;
    viewWillAppear();
    onMain(QPointer(this), [this] {
        if (isVisible())
            viewDidAppear();
    });
}

PageContainer::PageContainer(Maker maker, QWidget* parent)
    : QWidget(parent)
    , maker_(std::move(maker)) {}

void PageContainer::showPage(int index) {
    if (currentVC_) {
        currentVC_->setVisible(false);
        currentVC_->setParent(nullptr);
        currentVC_->deleteLater(); // one of its buttons may be what asks for the switch
    }
    index_ = index;
    BaseViewController* page = maker_(index);
    currentVC_ = page != nullptr ? page : new BaseViewController;
    currentVC_->setParent(this);
    currentVC_->setGeometry(rect());
    currentVC_->setVisible(true);
}

void PageContainer::resizeEvent(QResizeEvent*) {
    if (currentVC_)
        currentVC_->setGeometry(rect());
}

void PageContainer::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange && currentVC_)
        showPage(index_);
}

void BaseView::buildStyle() {
    setPalette(lightPalette(Qt::white));
    setAutoFillBackground(true);
}

} // namespace parlowen

#include "moc_BaseViewController.cpp"
