#include "SessionWindow.h"

#include "AIInterviewDetailController.h"
#include "SessionMenu.h"
#include "WindowLevel.h"

#include <Network/Settings.h>
#include <Page/View/ReadingList.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QContextMenuEvent>
#include <QLabel>
#include <QPainter>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr QSize contentSize(1000, 700);
constexpr QSize smallestSize(480, 420);
constexpr int cornerRadius = 12;
constexpr int closeSize = 20;
constexpr int closeFromRight = 16;
constexpr int subjectGap = 10;

int storedOpacity(const Settings& settings) {
    const qint64 stored = settings.sessionWindowOpacity().value_or(SessionWindow::usualOpacity);
    return static_cast<int>(std::clamp<qint64>(stored, SessionWindow::leastOpacity, SessionWindow::fullOpacity));
}

} // namespace

SessionWindow::SessionWindow(SessionServices services, QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , settings_(services.settings)
    , groundOpacity_(storedOpacity(*services.settings))
    , controller_(new AIInterviewDetailController(std::move(services), this))
    , title_(new QLabel(QStringLiteral("AI面试"), this))
    , subject_(new ElidedLabel(this))
    , closeButton_(new QToolButton(this)) {
    setAttribute(Qt::WA_TranslucentBackground);
    setWindowTitle(title_->text());
    setMinimumSize(smallestSize);
    resize(contentSize);
    setMouseTracking(true);
    controller_->setMouseTracking(true);

    buildHeader();
    controller_->setGeometry(rect());
    controller_->loadViewIfNeeded();
    controller_->lower();
    buildKeyboardOrder();
    buildKeys();
    connect(controller_, &AIInterviewDetailController::menuRequested, this, &SessionWindow::showMenu);
}

SessionWindow::~SessionWindow() = default;

void SessionWindow::buildHeader() {
    title_->setFont(systemFont(13, QFont::DemiBold));
    title_->setAlignment(Qt::AlignCenter);
    title_->setStyleSheet(styleSheets::darkTitle());
    title_->setAttribute(Qt::WA_TransparentForMouseEvents);
    controller_->setTitleWidth(title_->sizeHint().width());

    subject_->setObjectName(QStringLiteral("subject"));
    subject_->setFont(systemFont(12));
    subject_->setStyleSheet(styleSheets::darkTitle());
    subject_->setMouseTracking(true);
    subject_->setText(controller_->subject());
    subject_->setToolTip(subject_->text());

    closeButton_->setObjectName(QStringLiteral("closeButton"));
    closeButton_->setAccessibleName(QStringLiteral("关闭"));
    closeButton_->setIcon(QIcon(QStringLiteral(":/icons/close.svg")));
    closeButton_->setIconSize({closeSize, closeSize});
    closeButton_->setFocusPolicy(Qt::TabFocus);
    closeButton_->setCursor(Qt::PointingHandCursor);
    closeButton_->setStyleSheet(styleSheets::darkRoundButton());
    connect(closeButton_, &QToolButton::clicked, this, &QWidget::close);
}

// From the header downwards.
void SessionWindow::buildKeyboardOrder() {
    std::vector<QWidget*> order = controller_->keyboardOrder();
    const auto list = std::find_if(order.begin(), order.end(),
                                   [](QWidget* control) { return qobject_cast<ReadingList*>(control) != nullptr; });
    order.insert(list, closeButton_);
    for (std::size_t i = 1; i < order.size(); ++i)
        setTabOrder(order[i - 1], order[i]);
}

void SessionWindow::buildKeys() {
    for (const auto& [key, step] : {std::pair(Qt::Key_Up, opacityStep), std::pair(Qt::Key_Down, -opacityStep)})
        connect(new QShortcut(Qt::ALT | key, this), &QShortcut::activated, this,
                [this, step = step] { setGroundOpacity(groundOpacity_ + step); });
}

void SessionWindow::setGroundOpacity(int percent) {
    groundOpacity_ = std::clamp(percent, leastOpacity, fullOpacity);
    settings_->setSessionWindowOpacity(groundOpacity_);
    update();
}

void SessionWindow::showMenu(ReadingList* list, QPoint globalPosition) {
    (new SessionMenu(this, list))->popup(globalPosition);
}

void SessionWindow::contextMenuEvent(QContextMenuEvent* event) { showMenu(nullptr, event->globalPos()); }

bool SessionWindow::event(QEvent* event) {
    // The first button would get the focus, and be pressed by the next space that is typed.
    if (event->type() == QEvent::WindowActivate && focusWidget() == nullptr)
        controller_->setFocus(Qt::ActiveWindowFocusReason);
    return QWidget::event(event);
}

void SessionWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(hexColor(theme::sessionWindow, groundOpacity_ / 100.0));
    painter.setPen(QPen(hexColor(theme::onDark, theme::windowEdge), 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

void SessionWindow::resizeEvent(QResizeEvent*) {
    controller_->setGeometry(rect());
    const QRect pin = controller_->pinPlace();
    const int middle = pin.center().y() + 1;
    const int titleHeight = title_->sizeHint().height();
    title_->setGeometry(0, middle - titleHeight / 2, width(), titleHeight);
    const int subjectLeft = (width() + title_->sizeHint().width()) / 2 + subjectGap;
    const int subjectHeight = subject_->sizeHint().height();
    subject_->setGeometry(subjectLeft, middle - subjectHeight / 2, pin.left() - subjectGap - subjectLeft,
                          subjectHeight);
    closeButton_->setGeometry(width() - closeFromRight - closeSize, middle - closeSize / 2, closeSize, closeSize);
}

void SessionWindow::showEvent(QShowEvent* event) {
    if (!event->spontaneous())
        setFloatingLevel(*this, controller_->isTop());
    QWidget::showEvent(event);
}

/// In the middle of the screen, before the window exists there: where a window manager is told of it later, what is
/// placed beside the window (the status details) would take it to be where it was made.
void SessionWindow::setVisible(bool visible) {
    if (visible && !testAttribute(Qt::WA_Moved))
        move(screen()->availableGeometry().center() - rect().center());
    QWidget::setVisible(visible);
}

} // namespace parlowen
