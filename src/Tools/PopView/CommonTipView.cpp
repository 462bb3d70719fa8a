#include "CommonTipView.h"

#include "Colors.h"
#include "Factories.h"
#include "PopView.h"
#include "StyleSheets.h"
#include "SystemFont.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>

namespace parlowen {

namespace {

constexpr int cardWidth = 320; // at the usual font scale
constexpr int buttonHeight = 36;
constexpr double cornerRadius = 16;
constexpr double buttonRadius = 8;
const QColor danger(0xB3261E);

void prepare(QPushButton& button) {
    button.setMinimumHeight(inPoints(buttonHeight));
    button.setAutoDefault(true); // Enter presses the one that has the keyboard
}

} // namespace

CommonTipView::CommonTipView(QWidget* parent)
    : QWidget(parent)
    , titleLabel_(makeLabel(palette::CSS::black(), false, 14, this))
    , contentLabel_(makeLabel(hexColor(theme::midGrey), false, 13, this))
    , cancelButton_(makeCardButton({}, Qt::black, hexColor(theme::secondary), this))
    , sureButton_(makeCardButton({}, Qt::white, hexColor(theme::accent), this)) {
    setPalette(lightPalette(Qt::white));
    titleLabel_->setAlignment(Qt::AlignCenter);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 18);
    layout->setSpacing(14);
    layout->addWidget(titleLabel_);
    layout->addWidget(contentLabel_, 1);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(12);
    for (QPushButton* button : {cancelButton_, sureButton_}) {
        prepare(*button);
        buttons->addWidget(button, 1);
    }
    layout->addLayout(buttons);
    connect(cancelButton_, &QPushButton::clicked, this, &CommonTipView::button1Tap);
    connect(sureButton_, &QPushButton::clicked, this, &CommonTipView::button2Tap);
    configure(tr("更新提示"), tr("请更新到最新版本体验更多功能，点击下方按钮可更新，无需可忽略。"), tr("忽略"),
              tr("去更新"));
}

void CommonTipView::configure(const QString& title, const QString& content, const QString& cancelTitle,
                              const QString& sureTitle) {
    titleLabel_->setText(title);
    contentLabel_->setText(content);
    cancelButton_->setText(cancelTitle);
    sureButton_->setText(sureTitle);
    setAccessibleName(title);
    setAccessibleDescription(content);
}

CommonTipView* CommonTipView::ask(QWidget* container, const QString& title, const QString& content,
                                  const QString& cancelTitle, const QString& sureTitle) {
    auto* card = new CommonTipView;
    card->configure(title, content, cancelTitle, sureTitle);
    card->resize(card->sizeHint());
    MYCenterPopView::show(card, container);
    card->sureButton_->setFocus();
    return card;
}

void CommonTipView::warn() {
    cancelButton_->setStyleSheet(styleSheets::button(Qt::white, hexColor(theme::accent), buttonRadius));
    sureButton_->setStyleSheet(styleSheets::button(danger, hexColor(theme::secondary), buttonRadius));
}

QPushButton* CommonTipView::addDangerButton(const QString& title) {
    QPushButton* button = makeCardButton(title, danger, hexColor(theme::secondary), this);
    layout()->addWidget(button);
    prepare(*button);
    connect(button, &QPushButton::clicked, this, &CommonTipView::dismiss);
    button->show(); // before the card is measured, which may be in sight already
    resize(sizeHint());
    return button;
}

/// Its own pop-up, whatever lies below.
void CommonTipView::dismiss() {
    if (auto* pop = qobject_cast<PopView*>(parentWidget()))
        pop->dismiss();
    else
        closeCurrentPopView(this);
}

void CommonTipView::button1Tap() { dismiss(); }

void CommonTipView::button2Tap() {
    dismiss();
    if (sureBlock)
        sureBlock();
}

QSize CommonTipView::sizeHint() const {
    const int wide = inPoints(cardWidth);
    return {wide, heightForWidth(wide)};
}

void CommonTipView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::secondary), 1)); // lifts it off a ground that is nearly white
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

} // namespace parlowen

#include "moc_CommonTipView.cpp"
