#include "PopView.h"

#include "ViewFader.h"

#include <QEvent>

namespace parlowen {

PopView::PopView(QWidget* content, QWidget* container)
    : QWidget(container)
    , contentView_(content)
    , contentOwner_(content->parentWidget())
    , fader_(new ViewFader(content, 0)) {
    setAttribute(Qt::WA_NoMousePropagation);
    setGeometry(container->rect());
    container->installEventFilter(this);
    if (!content->testAttribute(Qt::WA_Resized))
        content->adjustSize();
    content->setParent(this);
    connect(content, &QObject::destroyed, this, &PopView::remove);
}

PopView::~PopView() {
    if (contentView_)
        disconnect(contentView_, nullptr, this, nullptr);
}

double PopView::contentAlpha() const { return fader_ ? fader_->alpha() : 0; }

void PopView::present() {
    contentView_->move(restingPlace());
    contentView_->show();
    setVisible(true);
    raise();
    fader_->fadeTo(1, duration, {});
}

void PopView::dismiss() {
    if (isDismissing_)
        return;
    isDismissing_ = true;
    leave();
    fader_->fadeTo(0, duration, [this] { remove(); });
}

void PopView::remove() {
    isDismissing_ = true;
    setVisible(false);
    if (contentView_ && contentOwner_) {
        disconnect(contentView_, nullptr, this, nullptr);
        contentView_->setVisible(false);
        contentView_->setParent(contentOwner_);
        contentView_->setGraphicsEffect(nullptr);
        fader_->deleteLater();
    }
    setParent(nullptr);
    deleteLater();
}

bool PopView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && watched == parentWidget())
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void PopView::resizeEvent(QResizeEvent*) {
    if (contentView_ && !isDismissing_)
        contentView_->move(restingPlace());
}

} // namespace parlowen
