#include "SessionWindow.h"

#include "AIInterviewDetailController.h"
#include "SessionMenu.h"
#include "SessionPage.h"
#include "WindowLevel.h"

#include <Network/Settings.h>
#include <Page/View/ReadingList.h>
#include <Tools/PopView/Accessibility.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>

#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr QSize contentSize(1000, 700);
constexpr QSize smallestSize(480, 420);
constexpr double mostGrowth = 1.4; // of it, for larger text: the window lies over a call
constexpr int cornerRadius = 12;
constexpr int closeSize = 20;
constexpr int closeFromRight = 16;
constexpr int subjectGap = 10;

constexpr int edgeWidth = 6;

int storedOpacity(const Settings& settings) {
    const qint64 stored = settings.sessionWindowOpacity().value_or(SessionWindow::usualOpacity);
    return static_cast<int>(std::clamp<qint64>(stored, SessionWindow::leastOpacity, SessionWindow::fullOpacity));
}

Qt::CursorShape cursorAt(Qt::Edges edges) {
    if (edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge))
        return Qt::SizeFDiagCursor;
    if (edges == (Qt::RightEdge | Qt::TopEdge) || edges == (Qt::LeftEdge | Qt::BottomEdge))
        return Qt::SizeBDiagCursor;
    if (edges == Qt::LeftEdge || edges == Qt::RightEdge)
        return Qt::SizeHorCursor;
    return edges == Qt::Edges() ? Qt::ArrowCursor : Qt::SizeVerCursor;
}

} // namespace

SessionWindow::SessionWindow(std::unique_ptr<AIInterviewDetailController> session, QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , controller_(std::move(session))
    , settings_(controller_->services().settings)
    , groundOpacity_(storedOpacity(*settings_))
    , page_(new SessionPage(*controller_, this))
    , title_(new QLabel(this))
    , subject_(new ElidedLabel(this))
    , closeButton_(new QToolButton(this)) {
    setAccessibleRole(*this, QAccessible::Window);
    setAttribute(Qt::WA_TranslucentBackground);
    setMinimumSize(smallestSize * std::min(fontScale(), mostGrowth));
    resize(contentSize);
    setMouseTracking(true);
    page_->setMouseTracking(true);

    buildHeader();
    page_->setGeometry(rect());
    page_->loadViewIfNeeded();
    page_->lower();
    buildKeyboardOrder();
    buildKeys();
    connect(page_, &SessionPage::menuRequested, this, &SessionWindow::showMenu);
}

// The page goes first: it shows the session.
SessionWindow::~SessionWindow() { delete page_; }

void SessionWindow::setMainWindow(QWidget* window) {
    controller_->setMainWindow([window = QPointer(window)] {
        if (window)
            bringToFront(*window);
    });
}

void SessionWindow::addStatusNote(const BilingualText& sentence) { page_->addStatusNote(sentence); }

void SessionWindow::end() {
    isEnding_ = true;
    close();
}

void SessionWindow::closeEvent(QCloseEvent* event) {
    const bool hasText = !controller_->topArr().empty();
    if (hasText && !isEnding_ && !controller_->isClosing()) {
        event->ignore();
        askAboutText();
        return;
    }
    if (auto* card = findChild<CommonTipView*>())
        card->hide(); // whoever hears of the end may take the window's picture
    controller_->windowWillClose();
}

/// It is kept nowhere else. Keys of other programs close the window as well, also while it is hidden.
void SessionWindow::askAboutText() {
    bringToFront(*this);
    if (findChild<CommonTipView*>() != nullptr)
        return;
    CommonTipView* card =
        CommonTipView::ask(this, tr("要结束这场面试吗？"), tr("窗口里的文字和回答会随窗口消失，不会另外保存。"),
                           tr("继续"), tr("复制全部并结束"));
    card->sureBlock = [this] {
        page_->copyAll();
        end();
    };
    connect(card->addDangerButton(tr("不复制，直接结束")), &QPushButton::clicked, this, &SessionWindow::end);
    card->cancelButton()->setFocus();
}

void SessionWindow::buildHeader() {
    title_->setFont(systemFont(13, QFont::DemiBold));
    title_->setAlignment(Qt::AlignCenter);
    title_->setStyleSheet(styleSheets::darkTitle());
    title_->setAttribute(Qt::WA_TransparentForMouseEvents);
    subject_->setObjectName(QStringLiteral("subject"));
    subject_->setFont(systemFont(12));
    subject_->setStyleSheet(styleSheets::darkTitle());
    subject_->setMouseTracking(true);
    subject_->setText(controller_->subject());
    subject_->setToolTip(subject_->text());

    closeButton_->setObjectName(QStringLiteral("closeButton"));
    closeButton_->setIcon(namedImage(QStringLiteral("close")));
    closeButton_->setIconSize({inPoints(closeSize), inPoints(closeSize)});
    closeButton_->setFocusPolicy(Qt::TabFocus);
    closeButton_->setCursor(Qt::PointingHandCursor);
    closeButton_->setStyleSheet(styleSheets::darkRoundButton());
    connect(closeButton_, &QToolButton::clicked, this, &QWidget::close);
    sayTexts();
}

void SessionWindow::sayTexts() {
    title_->setText(tr("AI面试"));
    setWindowTitle(title_->text());
    closeButton_->setAccessibleName(tr("关闭"));
    page_->setAccessibleName(title_->text()); // a click on it takes the keyboard
    page_->setTitleWidth(title_->sizeHint().width());
}

void SessionWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange) {
        sayTexts();
        placeHeader();
    }
    QWidget::changeEvent(event);
}

// From the header downwards.
void SessionWindow::buildKeyboardOrder() {
    std::vector<QWidget*> order = page_->keyboardOrder();
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
        page_->setFocus(Qt::ActiveWindowFocusReason);
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
    page_->setGeometry(rect());
    placeHeader();
}

void SessionWindow::placeHeader() {
    const QRect pin = page_->pinPlace();
    const int middle = pin.center().y() + 1;
    for (QLabel* label : {title_, static_cast<QLabel*>(subject_)})
        label->setVisible(page_->hasRoomForTitle());
    const int closeSide = inPoints(closeSize);
    const int titleHeight = title_->sizeHint().height();
    title_->setGeometry(0, middle - titleHeight / 2, width(), titleHeight);
    const int subjectLeft = (width() + title_->sizeHint().width()) / 2 + subjectGap;
    const int subjectHeight = subject_->sizeHint().height();
    subject_->setGeometry(subjectLeft, middle - subjectHeight / 2, pin.left() - subjectGap - subjectLeft,
                          subjectHeight);
    closeButton_->setGeometry(width() - closeFromRight - closeSide, middle - closeSide / 2, closeSide, closeSide);
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

Qt::Edges SessionWindow::edgesAt(QPoint position) const {
    Qt::Edges edges;
    edges.setFlag(Qt::LeftEdge, position.x() < edgeWidth);
    edges.setFlag(Qt::RightEdge, position.x() >= width() - edgeWidth);
    edges.setFlag(Qt::TopEdge, position.y() < edgeWidth);
    edges.setFlag(Qt::BottomEdge, position.y() >= height() - edgeWidth);
    return edges;
}

void SessionWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    dragging_ = true;
    dragEdges_ = edgesAt(event->position().toPoint());
    dragStart_ = event->globalPosition().toPoint();
    dragGeometry_ = geometry();
}

void SessionWindow::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_)
        drag(event->globalPosition().toPoint());
    else if (event->buttons() == Qt::NoButton)
        setCursor(cursorAt(edgesAt(event->position().toPoint())));
}

/// The desktop moves the window where it can. It is asked at the first movement: it would hold on to a window whose
/// button is up again before it heard of the press.
void SessionWindow::drag(QPoint global) {
    if (geometry() == dragGeometry_ && global != dragStart_) {
        dragging_ = dragEdges_ == Qt::Edges() ? !windowHandle()->startSystemMove()
                                              : !windowHandle()->startSystemResize(dragEdges_);
    }
    if (dragging_)
        dragTo(global);
}

void SessionWindow::mouseReleaseEvent(QMouseEvent*) { dragging_ = false; }

void SessionWindow::leaveEvent(QEvent*) { unsetCursor(); }

void SessionWindow::dragTo(QPoint global) {
    const QPoint way = global - dragStart_;
    if (dragEdges_ == Qt::Edges()) {
        move(dragGeometry_.topLeft() + way);
        return;
    }
    QRect target = dragGeometry_;
    if (dragEdges_.testFlag(Qt::LeftEdge))
        target.setLeft(std::min(target.left() + way.x(), target.right() - minimumWidth() + 1));
    if (dragEdges_.testFlag(Qt::TopEdge))
        target.setTop(std::min(target.top() + way.y(), target.bottom() - minimumHeight() + 1));
    if (dragEdges_.testFlag(Qt::RightEdge))
        target.setRight(std::max(target.right() + way.x(), target.left() + minimumWidth() - 1));
    if (dragEdges_.testFlag(Qt::BottomEdge))
        target.setBottom(std::max(target.bottom() + way.y(), target.top() + minimumHeight() - 1));
    setGeometry(target);
}

} // namespace parlowen

#include "moc_SessionWindow.cpp"
