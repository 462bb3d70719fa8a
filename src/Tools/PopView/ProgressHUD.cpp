#include "ProgressHUD.h"

#include "ProgressHUDIcon.h"
#include "ProgressHUDWindow.h"
#include "SystemFont.h"
#include "ViewFader.h"
#include "WrappedLabel.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>

#include <QApplication>
#include <algorithm>
#include <utility>

/// What the overlay shows and when; how it looks and takes clicks is in ProgressHUDView.cpp.
namespace parlowen {

namespace {

constexpr double fadeSeconds = 0.2;

} // namespace

ProgressHUD::ProgressHUD()
    : statusLabel_(new WrappedLabel(this))
    , fader_(new ViewFader(this, 0))
    , windowController_(std::make_unique<ProgressHUDWindow>()) {
    setVisible(false);
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_NoMousePropagation);
    setFont(systemFont(18));
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

double ProgressHUD::alpha() const { return fader_->alpha(); }

bool ProgressHUD::show(const QString& status, const ProgressHUDMode& mode) {
    QWidget* container = findContainer();
    if (container == nullptr)
        return false;
    mode_ = mode;
    shown_ = *this;
    if (!isVisible()) // the window that it was last shown in may have been closed under it
        enter(container);
    updateIndicator();
    updateStatus(status);
    layoutBox();
    appear(true);
    return true;
}

void ProgressHUD::hide(bool animated) {
    post("willDisappear");
    useAnimation_ = animated;
    ++scheduled_;
    fadeTo(0, [this] { finishHiding(); });
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

void ProgressHUD::toast(const QString& text) { showForAWhile(text, ProgressHUDMode::text); }

void ProgressHUD::error(const QString& text) { showForAWhile(text, ProgressHUDMode::error); }

void ProgressHUD::showForAWhile(const QString& text, ProgressHUDMode::Kind kind) {
    if (show(text, kind))
        performHideDelayed(1, toastSeconds(text));
    else
        consoleLog(QStringLiteral("⚠️ 没有窗口可以显示：") + text);
}

double ProgressHUD::toastSeconds(const QString& text) const {
    const auto characters = static_cast<double>(text.toUcs4().size());
    return std::max(minimumDismissTimeInterval, std::min(maximumDismissTimeInterval, 0.5 + 0.06 * characters));
}

void ProgressHUD::setProgress(double progress) {
    progress_ = progress;
    if (progressIndicator_ && mode_.kind() == ProgressHUDMode::determinate)
        progressIndicator_->setProgress(progress);
}

void ProgressHUD::updateIndicator() {
    if (indicator_ == nullptr || indicator_ != mode_.view())
        removeIndicator();
    if (mode_.isSpinner()) {
        indicator_ = new QWidget;
        indicator_->resize(qRound(shown_.spinnerSize), qRound(shown_.spinnerSize));
        progressIndicator_->setParent(indicator_);
        progressIndicator_->setGeometry(indicator_->rect());
        progressIndicator_->setProgress(mode_.kind() == ProgressHUDMode::determinate ? progress_ : 0);
        progressIndicator_->setVisible(true);
        progressIndicator_->startAnimation();
    } else if (mode_.isIcon()) {
        indicator_ = new ProgressHUDIcon(mode_.kind(), shown_.style.foreground, shown_.spinnerSize);
    } else if (mode_.view() != nullptr) {
        indicator_ = mode_.view();
        if (!indicator_->testAttribute(Qt::WA_Resized))
            indicator_->adjustSize();
    }
    if (indicator_) {
        indicator_->setParent(this);
        indicator_->setVisible(true);
    }
}

void ProgressHUD::removeIndicator() {
    if (progressIndicator_) {
        progressIndicator_->stopAnimation();
        progressIndicator_->setParent(this);
    }
    delete indicator_;
}

void ProgressHUD::updateStatus(const QString& status) {
    QPalette palette = statusLabel_->palette();
    palette.setColor(QPalette::WindowText, shown_.style.foreground);
    statusLabel_->setPalette(palette);
    statusLabel_->setFont(font());
    statusLabel_->setText(status);
}

void ProgressHUD::appear(bool animated) {
    post("willAppear");
    useAnimation_ = animated;
    setAttribute(Qt::WA_TransparentForMouseEvents, shown_.maskType.passesClicks);
    update();
    setVisible(true);
    raise();
    fadeTo(1, [this] { post("didAppear"); });
}

void ProgressHUD::fadeTo(double alpha, std::function<void()> finished) {
    if (useAnimation_) {
        fader_->fadeTo(alpha, fadeSeconds, std::move(finished));
        return;
    }
    fader_->setAlpha(alpha);
    finished();
}

void ProgressHUD::finishHiding() {
    if (progressIndicator_)
        progressIndicator_->stopAnimation();
    fader_->setAlpha(0);
    setVisible(false);
    leaveContainer();
    if (completionHandler)
        completionHandler();
    if (isHidden()) { // unless the handler has shown something else
        removeIndicator();
        statusLabel_->clear();
        windowController_->close();
    }
    post("didDisappear");
}

void ProgressHUD::post(const char* event) {
    NotificationCenter::shared().post(QStringLiteral("ProgressHUD.") + QLatin1String(event), this);
}

} // namespace parlowen
