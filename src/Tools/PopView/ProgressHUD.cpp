#include "ProgressHUD.h"

#include "SystemFont.h"

#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>

#include <QApplication>
#include <QEvent>
#include <QGraphicsOpacityEffect>
#include <QLabel>
#include <QPainter>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr int fadeMilliseconds = 200;

} // namespace

ProgressHUD::ProgressHUD()
    : statusLabel_(new QLabel(this))
    , fade_(new QGraphicsOpacityEffect(this)) {
    setVisible(false);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    setFont(systemFont(18));
    fade_->setOpacity(0);
    setGraphicsEffect(fade_);
    animation_.setTargetObject(fade_);
    animation_.setPropertyName("opacity");
    animation_.setDuration(fadeMilliseconds);
    connect(&animation_, &QPropertyAnimation::finished, this, [this] {
        if (const auto finished = std::exchange(fadeFinished_, {}))
            finished();
    });
    statusLabel_->setAlignment(Qt::AlignCenter);
    statusLabel_->setWordWrap(true);
    statusLabel_->setTextFormat(Qt::PlainText);
    QPalette palette = statusLabel_->palette();
    palette.setColor(QPalette::WindowText, QColor::fromRgbF(0.95F, 0.95F, 0.95F));
    statusLabel_->setPalette(palette);
}

ProgressHUD::~ProgressHUD() = default;

ProgressHUD& ProgressHUD::shared() {
    static QPointer<ProgressHUD> instance;
    if (instance == nullptr) {
        instance = new ProgressHUD;
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, instance, [] { delete instance; });
    }
    return *instance;
}

QString ProgressHUD::status() const { return statusLabel_->text(); }

double ProgressHUD::alpha() const { return fade_->opacity(); }

void ProgressHUD::show(const QString& status, ProgressHUDMode mode) {
    QWidget* container = containerView;
    if (container == nullptr && mainWindowContent)
        container = mainWindowContent();
    if (container == nullptr)
        return;
    mode_ = mode;
    if (!isVisibleTo(parentWidget()) || parentWidget() != container)
        enter(container);
    statusLabel_->setFont(font());
    statusLabel_->setText(status);
    layoutBox();
    appear(true);
}

void ProgressHUD::hide(bool animated) {
    post("willDisappear");
    ++scheduled_;
    fadeTo(0, animated, [this] { finishHiding(); });
}

void ProgressHUD::hideDelayed(int argument) {
    ++scheduled_;
    hide(argument != 0);
}

void ProgressHUD::performHideDelayed(int argument, double afterSeconds) {
    afterDelay(afterSeconds, QPointer(this), [this, argument, scheduled = scheduled_] {
        if (scheduled == scheduled_)
            hideDelayed(argument);
    });
}

void ProgressHUD::toast(const QString& text) {
    show(text, ProgressHUDMode::text);
    performHideDelayed(1, toastSeconds(text));
}

double ProgressHUD::toastSeconds(const QString& text) {
    const auto characters = static_cast<double>(text.toUcs4().size());
    return std::clamp(0.5 + 0.06 * characters, 2.0, 5.0);
}

void ProgressHUD::enter(QWidget* container) {
    leaveContainer();
    setParent(container);
    setGeometry(container->rect());
    container->installEventFilter(this);
    // A container takes its children with it; the overlay outlives it.
    connect(container, &QObject::destroyed, this, [this] {
        setParent(nullptr);
        ++scheduled_;
        fadeTo(0, false, [this] { finishHiding(); });
    });
}

void ProgressHUD::leaveContainer() {
    if (QWidget* container = parentWidget()) {
        container->removeEventFilter(this);
        disconnect(container, nullptr, this, nullptr);
    }
    setParent(nullptr);
}

void ProgressHUD::appear(bool animated) {
    post("willAppear");
    setVisible(true);
    raise();
    update();
    fadeTo(1, animated, [this] { post("didAppear"); });
}

void ProgressHUD::fadeTo(double target, bool animated, std::function<void()> finished) {
    animation_.stop();
    fadeFinished_ = {};
    if (!animated) {
        fade_->setOpacity(target);
        finished();
        return;
    }
    fadeFinished_ = std::move(finished);
    animation_.setStartValue(fade_->opacity());
    animation_.setEndValue(target);
    animation_.start();
}

void ProgressHUD::finishHiding() {
    setVisible(false);
    leaveContainer();
    if (completionHandler)
        completionHandler();
    statusLabel_->clear();
    post("didDisappear");
}

void ProgressHUD::layoutBox() {
    const int maxWidth = std::max(1, width() - 4 * margin);
    const QFontMetrics metrics(font());
    const QSize text =
        metrics.boundingRect(QRect(0, 0, maxWidth, height()), Qt::AlignCenter | Qt::TextWordWrap, status()).size();
    const QSize label(std::min(maxWidth, text.width() + 10), text.height());
    const QSize box(2 * margin + label.width(), 2 * margin + label.height());
    QPoint center = rect().center();
    if (position != ProgressHUDPosition::center)
        center.ry() += (position == ProgressHUDPosition::bottom ? 1 : -1) * height() / 5;
    box_ = QRect(QPoint(center.x() - box.width() / 2, center.y() - box.height() / 2), box);
    statusLabel_->setGeometry(box_.adjusted(margin, margin, -margin, -margin));
    update();
}

bool ProgressHUD::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && watched == parentWidget())
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void ProgressHUD::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgbF(0, 0, 0, static_cast<float>(opacity)));
    painter.drawRoundedRect(box_, cornerRadius, cornerRadius);
}

void ProgressHUD::resizeEvent(QResizeEvent*) { layoutBox(); }

void ProgressHUD::post(const char* event) {
    NotificationCenter::shared().post(QStringLiteral("ProgressHUD.") + QLatin1String(event), this);
}

} // namespace parlowen
