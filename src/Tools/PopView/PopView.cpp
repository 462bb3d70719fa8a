#include "PopView.h"

#include "Accessibility.h"
#include "ViewFader.h"
#include "Windows.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QMouseEvent>
#include <QPropertyAnimation>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr int leastGap = 6; // from a card to the edge of a window that is hardly larger

QString centerIdentifier() { return QStringLiteral("MYCenterPopView"); }

bool isUsable(const QWidget* widget) { return widget != nullptr && widget->isVisible() && widget->isEnabled(); }

} // namespace

PopView::PopView(QWidget* content, QWidget* container)
    : QWidget(container)
    , contentView_(content)
    , contentOwner_(ownerOf(content))
    , fader_(new ViewFader(content, 0)) {
    setAccessibleRole(*this, QAccessible::Dialog);
    setAccessibleName(content->accessibleName()); // it takes the keyboard in the card's place
    setAccessibleDescription(content->accessibleDescription());
    setAttribute(Qt::WA_NoMousePropagation);
    setFocusPolicy(Qt::ClickFocus);
    setGeometry(container->rect());
    container->installEventFilter(this);
    if (!content->testAttribute(Qt::WA_Resized))
        content->adjustSize();
    ownSize_ = content->size();
    content->setParent(this);
    content->installEventFilter(this);
    connect(content, &QObject::destroyed, this, &PopView::remove);
}

PopView::~PopView() {
    if (contentView_)
        disconnect(contentView_, nullptr, this, nullptr);
}

/// Takes the card's own size, or as much of it as there is room for: a text that gets narrower gets longer.
void PopView::fit() {
    const QSize room = size() - QSize(2 * leastGap, 2 * leastGap);
    QSize wanted = ownSize_.boundedTo(room);
    const QLayout* layout = contentView_->layout();
    if (wanted.width() < ownSize_.width() && layout != nullptr && layout->hasHeightForWidth())
        wanted.setHeight(
            std::min(std::max(ownSize_.height(), layout->totalHeightForWidth(wanted.width())), room.height()));
    fitted_ = wanted;
    contentView_->resize(wanted);
}

PopView* PopView::showing(const QWidget* content, const QWidget* container) {
    auto* pop = qobject_cast<PopView*>(content->parentWidget());
    const bool shows = pop != nullptr && pop->contentView_ == content && pop->parentWidget() == container;
    return shows && !pop->isDismissing_ ? pop : nullptr;
}

/// Whom the card goes back to. Ends the pop-up that it is in.
QWidget* PopView::ownerOf(QWidget* content) {
    auto* pop = qobject_cast<PopView*>(content->parentWidget());
    if (pop == nullptr || pop->contentView_ != content)
        return content->parentWidget();
    pop->letGo();
    return pop->contentOwner_;
}

void PopView::letGo() {
    disconnect(contentView_, nullptr, this, nullptr);
    contentView_->removeEventFilter(this);
    for (QAbstractAnimation* moving : findChildren<QAbstractAnimation*>(Qt::FindDirectChildrenOnly))
        moving->stop();
    delete fader_; // with what was to follow its fade
    giveFocusBack();
    contentView_->setParent(nullptr);
    contentView_ = nullptr;
    end();
}

double PopView::contentAlpha() const { return fader_ ? fader_->alpha() : 0; }

void PopView::present() {
    fit();
    contentView_->move(restingPlace());
    contentView_->setAttribute(Qt::WA_TransparentForMouseEvents, false);
    contentView_->show();
    setVisible(true);
    raise();
    takeFocus();
    fader_->fadeTo(1, duration, {});
}

void PopView::dismiss() {
    if (isDismissing_)
        return;
    isDismissing_ = true;
    contentView_->setAttribute(Qt::WA_TransparentForMouseEvents); // a second click is not a second answer
    giveFocusBack();
    leave();
    fader_->fadeTo(0, duration, [this] { remove(); });
}

void PopView::remove() {
    giveFocusBack();
    if (contentView_ && contentOwner_) {
        disconnect(contentView_, nullptr, this, nullptr);
        contentView_->removeEventFilter(this);
        contentView_->setVisible(false);
        contentView_->resize(ownSize_);
        contentView_->setParent(contentOwner_);
        contentView_->setGraphicsEffect(nullptr);
        fader_->deleteLater();
    }
    end();
}

void PopView::end() {
    isDismissing_ = true;
    setVisible(false);
    setParent(nullptr);
    deleteLater();
}

bool PopView::hasFocusInside() const {
    const QWidget* focused = window()->focusWidget();
    return focused == this || (focused != nullptr && isAncestorOf(focused));
}

void PopView::takeFocus() {
    focusBefore_ = hasFocusInside() ? nullptr : window()->focusWidget();
    QWidget* wanted = contentView_->focusWidget();
    (isUsable(wanted) ? wanted : this)->setFocus(Qt::OtherFocusReason);
}

void PopView::giveFocusBack() {
    if (!hasFocusInside())
        return;
    if (isUsable(focusBefore_))
        focusBefore_->setFocus(Qt::OtherFocusReason);
    else
        window()->focusWidget()->clearFocus();
}

bool PopView::focusNextPrevChild(bool next) {
    if (isDismissing_)
        return QWidget::focusNextPrevChild(next);
    QWidget* const start = hasFocusInside() ? window()->focusWidget() : this;
    const auto after = [next](const QWidget* w) { return next ? w->nextInFocusChain() : w->previousInFocusChain(); };
    for (QWidget* each = after(start); each != start; each = after(each)) {
        if (isAncestorOf(each) && isUsable(each) && (each->focusPolicy() & Qt::TabFocus) == Qt::TabFocus) {
            each->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            break;
        }
    }
    return true;
}

// What the card has no use for is nothing for the page beneath either.
void PopView::pressFocusedButton() {
    auto* button = qobject_cast<QAbstractButton*>(QApplication::focusWidget());
    if (button && isAncestorOf(button))
        button->click();
}

void PopView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        dismiss();
    else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        pressFocusedButton(); // buttons with a picture alone leave this key to those around them
    event->accept();
}

bool PopView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && watched == parentWidget())
        setGeometry(parentWidget()->rect());
    if (event->type() == QEvent::Resize && watched == contentView_ && contentView_->size() != fitted_ &&
        !isDismissing_) {
        ownSize_ = contentView_->size(); // it has more or less to say now
        fit();
        contentView_->move(restingPlace());
    }
    return QWidget::eventFilter(watched, event);
}

void PopView::resizeEvent(QResizeEvent*) {
    if (!contentView_ || isDismissing_)
        return;
    fit();
    contentView_->move(restingPlace());
}

MYCenterPopView::MYCenterPopView(QWidget* content, QWidget* container)
    : PopView(content, container) {
    setObjectName(centerIdentifier());
}

MYCenterPopView* MYCenterPopView::show(QWidget* content, QWidget* container) {
    if (auto* shown = qobject_cast<MYCenterPopView*>(showing(content, container)))
        return shown;
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

void closeCurrentPopView(const QWidget* otherwise) {
    const QWidget* content = keyWindowContent(otherwise);
    if (content == nullptr)
        return;
    const auto shown = content->findChildren<MYCenterPopView*>(centerIdentifier());
    if (!shown.isEmpty())
        shown.front()->dismiss();
}

MYBottomPopView::MYBottomPopView(QWidget* content, QWidget* container)
    : PopView(content, container)
    , slide_(new QPropertyAnimation(content, "pos", this)) {
    setObjectName(QStringLiteral("MYBottomPopView"));
    slide_->setDuration(static_cast<int>(duration * 1000));
    slide_->setEasingCurve(QEasingCurve::OutCubic);
}

MYBottomPopView* MYBottomPopView::show(QWidget* content, QWidget* container) {
    if (auto* shown = qobject_cast<MYBottomPopView*>(showing(content, container)))
        return shown;
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

#include "moc_PopView.cpp"
