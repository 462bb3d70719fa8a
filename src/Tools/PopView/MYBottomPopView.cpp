#include "MYBottomPopView.h"

#include <QMouseEvent>
#include <QPropertyAnimation>

namespace parlowen {

MYBottomPopView::MYBottomPopView(QWidget* content, QWidget* container)
    : PopView(content, container)
    , slide_(new QPropertyAnimation(content, "pos", this)) {
    setObjectName(QStringLiteral("MYBottomPopView"));
    slide_->setDuration(static_cast<int>(duration * 1000));
    slide_->setEasingCurve(QEasingCurve::OutCubic);
}

MYBottomPopView* MYBottomPopView::show(QWidget* content, QWidget* container) {
    auto* pop = new MYBottomPopView(content, container);
    pop->present();
    pop->slide(pop->hiddenPlace(), pop->restingPlace());
    return pop;
}

void MYBottomPopView::dismissOnBackgroundClick(QPoint location) {
    if (isBeside(location))
        dismiss();
}

bool MYBottomPopView::isBeside(QPoint place) const {
    return contentView() != nullptr && !contentView()->geometry().contains(place);
}

QPoint MYBottomPopView::restingPlace() const {
    return {(width() - contentView()->width()) / 2, height() - contentView()->height()};
}

QPoint MYBottomPopView::hiddenPlace() const { return {restingPlace().x(), height()}; }

void MYBottomPopView::leave() { slide(contentView()->pos(), hiddenPlace()); }

void MYBottomPopView::slide(QPoint from, QPoint to) {
    slide_->stop();
    slide_->setStartValue(from);
    slide_->setEndValue(to);
    slide_->start();
}

void MYBottomPopView::resizeEvent(QResizeEvent* event) {
    // Where a slide was to end is no longer the card's place.
    if (slide_->state() == QAbstractAnimation::Running && contentView() != nullptr)
        slide_->setEndValue(isDismissing() ? hiddenPlace() : restingPlace());
    else
        PopView::resizeEvent(event);
}

void MYBottomPopView::mousePressEvent(QMouseEvent* event) { isPressedBeside_ = isBeside(event->position().toPoint()); }

void MYBottomPopView::mouseReleaseEvent(QMouseEvent* event) {
    // A drag that begins in the card, as when text is selected, may end beside it.
    if (enableGesture && event->button() == Qt::LeftButton && isPressedBeside_)
        dismissOnBackgroundClick(event->position().toPoint());
}

} // namespace parlowen
