#include "VersionForceAlertView.h"

#include <Foundation/ConsoleLog.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QToolButton>
#include <algorithm>

namespace parlowen {

namespace {

constexpr double promptRadius = 10;
constexpr double promptDim = 0.2;
constexpr int promptWidth = 320;
constexpr int promptMargin = 24;
constexpr int promptEdge = 8; // from it to a page that is hardly wider
constexpr int promptButtonHeight = 40;
constexpr int promptIconSide = 64;
constexpr int notesHeight = 150; // at most, before they scroll
constexpr int buttonPadding = 18;
constexpr int buttonIconSide = 16;

} // namespace

CustomButton::CustomButton(const QString& title, const QColor& ground, double cornerRadius, int fontSize,
                           QWidget* parent)
    : QAbstractButton(parent)
    , ground_(ground)
    , cornerRadius_(cornerRadius) {
    setText(title);
    setAccessibleName(title);
    setFont(systemFont(fontSize));
    setIcon(namedImage(QStringLiteral("translate_down")));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
}

QSize CustomButton::sizeHint() const {
    const int icon = hasIcon ? buttonIconSide + buttonPadding / 2 : 0;
    return QSize(fontMetrics().horizontalAdvance(text()), fontMetrics().height()) +
           QSize(2 * buttonPadding + icon, buttonPadding);
}

void CustomButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(hasFocus() ? QPen(hexColor(theme::darkText), 2) : QPen(Qt::NoPen));
    painter.setBrush(isDown() ? ground_.darker(115) : underMouse() ? ground_.lighter(106) : ground_);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), cornerRadius_, cornerRadius_);
    QRect room = rect();
    if (hasIcon) {
        const int width = fontMetrics().horizontalAdvance(text()) + buttonIconSide + buttonPadding / 2;
        const QRect place((room.width() - width) / 2, (room.height() - buttonIconSide) / 2, buttonIconSide,
                          buttonIconSide);
        icon().paint(&painter, place);
        room.setLeft(buttonIconSide + buttonPadding / 2);
    }
    painter.setPen(Qt::white);
    painter.drawText(room, Qt::AlignCenter, text());
}

void VersionForceAlertView::buildStyle() {
    setPalette(lightPalette(Qt::white));
    setFocusPolicy(Qt::StrongFocus);
}

void VersionForceAlertView::build() {
    sharedView_ = new QWidget(this);
    auto* column = new QVBoxLayout(sharedView_);
    column->setContentsMargins(promptMargin, promptMargin, promptMargin, promptMargin);
    column->setSpacing(12);
    iconImg_ = new QLabel(sharedView_);
    iconImg_->setAlignment(Qt::AlignCenter);
    tipLab_ = makeLabel(hexColor(theme::darkText), false, 15, sharedView_);
    tipLab_->setText(tr("发现新版本"));
    tipLab_->setAlignment(Qt::AlignCenter);
    tip1Lab_ = makeLabel(hexColor(theme::link), false, 17, nullptr);
    tip1Lab_->setText(tr("当前已是最新版本，暂无更新"));
    tip1Lab_->setAlignment(Qt::AlignCenter);
    notes_ = new QScrollArea(sharedView_);
    notes_->setWidget(tip1Lab_);
    notes_->setWidgetResizable(true);
    notes_->setFrameShape(QFrame::NoFrame);
    notes_->setStyleSheet(styleSheets::lightScrollBar());
    for (QWidget* ground : {notes_->viewport(), static_cast<QWidget*>(tip1Lab_)})
        ground->setAutoFillBackground(false);
    sureBtn_ = new CustomButton(tr("去更新"), hexColor(theme::link), 20, 15, sharedView_);
    sureBtn_->hasIcon = false;
    sureBtn_->setFixedHeight(inPoints(promptButtonHeight));
    connect(sureBtn_, &CustomButton::clicked, this, &VersionForceAlertView::didTap1);
    column->addWidget(iconImg_);
    column->addWidget(tipLab_);
    column->addWidget(notes_);
    column->addSpacing(4);
    column->addWidget(sureBtn_);
    closeImg_ = new QToolButton(sharedView_);
    closeImg_->setIcon(namedImage(QStringLiteral("close")));
    closeImg_->setIconSize(QSize(inPoints(20), inPoints(20)));
    closeImg_->setAccessibleName(tr("关闭"));
    closeImg_->setAutoRaise(true);
    closeImg_->setFocusPolicy(Qt::StrongFocus);
    closeImg_->hide();
    connect(closeImg_, &QToolButton::clicked, this, &VersionForceAlertView::didTap1);
    auto* page = new QVBoxLayout(this);
    page->setContentsMargins(promptEdge, promptEdge, promptEdge, promptEdge);
    page->addWidget(sharedView_, 0, Qt::AlignCenter);
}

void VersionForceAlertView::configure() {
    if (!model)
        return;
    tip1Lab_->setText(model->content.value_or(QString()));
    const QSize side(inPoints(promptIconSide), inPoints(promptIconSide));
    iconImg_->setPixmap(namedImage(QStringLiteral("tishi_r")).pixmap(side, devicePixelRatioF()));
    canClose_ = model->version != model->min_version;
    closeImg_->setVisible(canClose_);
    fit();
    closeImg_->raise();
    setAccessibleName(tipLab_->text());
    setAccessibleDescription(tip1Lab_->text());
}

/// As wide as usual, or as the page; the notes are what is cut short where there is little height, and scroll.
void VersionForceAlertView::fit() {
    const int wide = std::min(inPoints(promptWidth), width() - 2 * promptEdge);
    sharedView_->setFixedWidth(std::max(wide, 0));
    closeImg_->adjustSize();
    closeImg_->move(wide - closeImg_->width() - 8, 8);
    notes_->setFixedHeight(0);
    const int room = height() - 2 * promptEdge - sharedView_->layout()->totalHeightForWidth(wide);
    const int needed = std::min(tip1Lab_->heightForWidth(wide - 2 * promptMargin), inPoints(notesHeight));
    notes_->setFixedHeight(std::min(needed, std::max(room, tip1Lab_->fontMetrics().height())));
}

void VersionForceAlertView::didTap1() {
    setVisible(false);
    if (parentWidget() != nullptr)
        parentWidget()->setFocus(Qt::OtherFocusReason);
}

void VersionForceAlertView::showEvent(QShowEvent* event) {
    BaseView::showEvent(event);
    sureBtn_->setFocus(Qt::OtherFocusReason);
}

void VersionForceAlertView::resizeEvent(QResizeEvent* event) {
    BaseView::resizeEvent(event);
    fit();
}

void VersionForceAlertView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), QColor::fromRgbF(0, 0, 0, static_cast<float>(promptDim)));
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(sharedView_->geometry(), promptRadius, promptRadius);
}

void VersionForceAlertView::didTap() {}

void VersionForceAlertView::bgTap() { consoleLog(QStringLiteral("111")); }

// A click beside the card closes the prompt, and none goes to the page beneath.
void VersionForceAlertView::mousePressEvent(QMouseEvent* event) {
    if (sharedView_->geometry().contains(event->position().toPoint()))
        bgTap();
    else if (canClose_)
        didTap1();
    else
        didTap();
}

void VersionForceAlertView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && canClose_)
        didTap1();
}

// Tab stays in the prompt.
bool VersionForceAlertView::focusNextPrevChild(bool) {
    (sureBtn_->hasFocus() && canClose_ ? static_cast<QWidget*>(closeImg_) : sureBtn_)->setFocus(Qt::TabFocusReason);
    return true;
}

} // namespace parlowen

#include "moc_VersionForceAlertView.cpp"
