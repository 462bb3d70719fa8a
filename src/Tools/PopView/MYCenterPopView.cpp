#include "MYCenterPopView.h"

#include <QApplication>

namespace parlowen {

namespace {

QString identifier() { return QStringLiteral("MYCenterPopView"); }

} // namespace

MYCenterPopView::MYCenterPopView(QWidget* content, QWidget* container)
    : PopView(content, container) {
    setObjectName(identifier());
}

MYCenterPopView* MYCenterPopView::show(QWidget* content, QWidget* container) {
    auto* pop = new MYCenterPopView(content, container);
    pop->present();
    return pop;
}

QPoint MYCenterPopView::restingPlace() const {
    return {(width() - contentView()->width()) / 2, (height() - contentView()->height()) / 2};
}

void MYCenterPopView::setEnableGes(bool enabled) {
    enableGes_ = enabled;
    shape();
}

void MYCenterPopView::resizeEvent(QResizeEvent* event) {
    PopView::resizeEvent(event);
    shape();
}

void MYCenterPopView::shape() {
    if (enableGes_ || contentView() == nullptr)
        clearMask();
    else
        setMask(contentView()->geometry());
}

void closeCurrentPopView() {
    const QWidget* window = QApplication::activeWindow();
    if (window == nullptr)
        return;
    const auto shown = window->findChildren<MYCenterPopView*>(identifier());
    if (!shown.isEmpty())
        shown.front()->dismiss();
}

} // namespace parlowen
