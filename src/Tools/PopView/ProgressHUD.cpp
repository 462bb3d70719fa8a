#include "ProgressHUD.h"

#include "ElidedLabel.h"
#include "SystemFont.h"
#include "ViewFader.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr double fadeSeconds = 0.2;

/// A clear borderless window, above ordinary windows, that stands while the overlay is shown over the application's
/// main window. It takes no input and no focus, and draws nothing.
std::unique_ptr<QWidget> makeClearWindow() {
    auto window = std::make_unique<QWidget>(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                                         Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus);
    window->setObjectName(QStringLiteral("ProgressHUDWindow"));
    window->setAttribute(Qt::WA_TranslucentBackground);
    window->setAttribute(Qt::WA_ShowWithoutActivating);
    window->setAttribute(Qt::WA_QuitOnClose, false);
    // Where nothing composes windows a clear one would be black: this one's shape is a single point.
    window->setMask(QRegion(0, 0, 1, 1));
    return window;
}

/// Lays the window over the first screen.
void present(QWidget& window) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return;
    window.setGeometry(screens.front()->geometry());
    window.show();
}

} // namespace

ProgressHUD::ProgressHUD()
    : statusLabel_(new WrappedLabel(this))
    , fader_(new ViewFader(this, 0))
    , windowController_(makeClearWindow()) {
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

QWidget* ProgressHUD::findContainer() {
    if (containerView) {
        windowController_->close();
        return containerView;
    }
    QWidget* content = mainWindowContent ? mainWindowContent() : nullptr;
    if (content != nullptr)
        present(*windowController_);
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

#include "moc_ProgressHUD.cpp"
