#include "ProgressHUD.h"

#include "ProgressHUDWindow.h"
#include "ViewFader.h"

#include <Foundation/MainQueue.h>

#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

/// Where the overlay lies, how it is drawn and what clicks do to it.
namespace parlowen {

QWidget* ProgressHUD::findContainer() {
    if (containerView) {
        windowController_->close();
        return containerView;
    }
    QWidget* content = mainWindowContent ? mainWindowContent() : nullptr;
    if (content != nullptr)
        windowController_->present();
    return content;
}

void ProgressHUD::enter(QWidget* container) {
    leaveContainer();
    fader_->setAlpha(0);
    delete progressIndicator_;
    progressIndicator_ = new ProgressIndicatorLayer(shown_.style.foreground, shown_.spinnerSize);
    progressIndicator_->setParent(this);
    setParent(container);
    setGeometry(container->rect());
    container->installEventFilter(this);
    // A container takes its children with it; the overlay outlives it.
    connect(container, &QObject::destroyed, this, [this] {
        setParent(nullptr);
        hide(false);
    });
}

void ProgressHUD::leaveContainer() {
    if (watchedWindow_)
        watchedWindow_->removeEventFilter(this);
    watchedWindow_ = nullptr;
    if (QWidget* container = parentWidget()) {
        container->removeEventFilter(this);
        disconnect(container, nullptr, this, nullptr);
    }
    setParent(nullptr);
}

void ProgressHUD::layoutBox() {
    const QSize indicator = indicator_ ? indicator_->size() : QSize(0, 0);
    layout_ = ProgressHUDLayout::of(QWidget::size(), {shown_.margin, shown_.padding, shown_.position}, indicator,
                                    status(), statusLabel_->font());
    if (indicator_)
        indicator_->setGeometry(layout_.indicator);
    statusLabel_->setGeometry(layout_.text);
    update();
}

void ProgressHUD::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (shown_.maskType.color)
        painter.fillRect(rect(), *shown_.maskType.color);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor ground = shown_.style.backgroud;
    ground.setAlphaF(static_cast<float>(shown_.opacity));
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawRoundedRect(layout_.box, shown_.cornerRadius, shown_.cornerRadius);
}

void ProgressHUD::resizeEvent(QResizeEvent*) { layoutBox(); }

void ProgressHUD::showEvent(QShowEvent*) {
    if (watchedWindow_)
        watchedWindow_->removeEventFilter(this);
    watchedWindow_ = window()->windowHandle();
    if (watchedWindow_)
        watchedWindow_->installEventFilter(this);
}

bool ProgressHUD::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && watched == parentWidget())
        setGeometry(parentWidget()->rect());
    if (event->type() == QEvent::MouseButtonPress && watched == watchedWindow_ && shown_.maskType.passesClicks) {
        const QPointF global = static_cast<QMouseEvent*>(event)->globalPosition();
        if (rect().contains(mapFromGlobal(global).toPoint()))
            mouseDown();
    }
    return QWidget::eventFilter(watched, event);
}

void ProgressHUD::mousePressEvent(QMouseEvent*) { mouseDown(); }

void ProgressHUD::mouseDown() {
    post("didReceiveMouseDownEvent");
    if (dismissible)
        onMain(QPointer(this), [this] { hide(true); });
}

} // namespace parlowen
