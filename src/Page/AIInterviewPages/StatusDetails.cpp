#include "StatusDetails.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

namespace parlowen {

namespace {

constexpr int panelWidth = 340; // at the usual font scale
constexpr int underChip = 6;
constexpr int cardRadius = 10;

QLabel* addText(QVBoxLayout* layout, const char* name, int size, QFont::Weight weight, const QString& style) {
    auto* label = new QLabel;
    label->setObjectName(QLatin1String(name));
    label->setFont(systemFont(size, weight));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setStyleSheet(style);
    layout->addWidget(label);
    return label;
}

/// With the mouse and with the keys.
void letCopy(QLabel* label) {
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    label->setFocusPolicy(Qt::StrongFocus);
    QPalette palette = label->palette();
    palette.setColor(QPalette::Text, hexColor(theme::onDark)); // of the text cursor
    label->setPalette(palette);
}

void setLines(QLabel* label, const QStringList& lines) {
    const QString text = lines.join(u'\n');
    if (label->text() != text && !label->hasSelectedText()) {
        label->setText(text);
        label->setAccessibleName(text);
    }
}

} // namespace

StatusDetails::StatusDetails(QWidget* parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint) {
    setObjectName(QStringLiteral("statusDetails"));
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_NoMouseReplay); // a click on the chip would open it again
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(6);
    headline_ = addText(layout, "statusHeadline", 14, QFont::DemiBold, styleSheets::darkLabel());
    details_ = addText(layout, "statusSentences", 13, QFont::Normal, styleSheets::darkLabel());
    caption_ = addText(layout, "statusCaption", 12, QFont::Normal, styleSheets::darkTitle());
    caption_->setText(tr("可以这样做"));
    caption_->setContentsMargins(0, 6, 0, 0);
    advice_ = addText(layout, "statusAdvice", 13, QFont::Normal, styleSheets::darkLabel());
    for (QLabel* label : {headline_, details_, advice_})
        letCopy(label);
    action_ = new QPushButton(this);
    action_->setObjectName(QStringLiteral("statusAction"));
    action_->setFont(systemFont(13));
    action_->setMinimumHeight(action_->fontMetrics().height() + 14);
    action_->setCursor(Qt::PointingHandCursor);
    action_->setAutoDefault(true); // Enter presses it
    action_->setStyleSheet(styleSheets::darkAccentButton());
    layout->addSpacing(4);
    layout->addWidget(action_);
    connect(action_, &QPushButton::clicked, this, [this] {
        Q_EMIT outputChosen(actionUID_);
        close();
    });
}

void StatusDetails::say(const SessionStatusText& words) {
    setLines(headline_, {words.text});
    setLines(details_, words.details);
    setLines(advice_, words.advice);
    caption_->setText(tr("可以这样做"));
    for (QLabel* label : {caption_, advice_})
        label->setVisible(!words.advice.isEmpty());
    setAccessibleName(words.text);
    setAccessibleDescription((words.details + words.advice).join(u' '));
    actionUID_ = words.actionUID;
    action_->setText(words.action);
    action_->setVisible(!words.action.isEmpty());
    if (isVisible())
        fit();
}

void StatusDetails::popUpUnder(const QWidget& chip) {
    anchor_ = chip.mapToGlobal(QPoint(0, chip.height() + underChip));
    ensurePolished();
    fit();
    setVisible(true);
    // A text would show a text cursor.
    (action_->isHidden() ? static_cast<QWidget*>(this) : action_)->setFocus(Qt::PopupFocusReason);
}

void StatusDetails::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::darkGrey), 1));
    painter.setBrush(hexColor(theme::darkMenu));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cardRadius, cardRadius);
}

void StatusDetails::fit() {
    const int wide = static_cast<int>(panelWidth * fontScale());
    layout()->activate();
    const QSize size(wide, layout()->totalHeightForWidth(wide));
    const QRect screenArea = screen()->availableGeometry();
    const int left = std::clamp(anchor_.x(), screenArea.left(), std::max(screenArea.left(), screenArea.right() - wide));
    const int top =
        std::clamp(anchor_.y(), screenArea.top(), std::max(screenArea.top(), screenArea.bottom() - size.height()));
    setGeometry({QPoint(left, top), size});
}

} // namespace parlowen

#include "moc_StatusDetails.cpp"
