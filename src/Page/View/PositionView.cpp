#include "PositionView.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>

namespace parlowen {

namespace {

constexpr double editorRadius = 10;
constexpr double areaRadius = 8;
constexpr int editorButtonHeight = 36;

} // namespace

void PositionView::setTextContent(const std::optional<QString>& text) {
    textContent_ = text;
    if (text)
        roleTextView_->setPlainText(*text);
}

void PositionView::buildStyle() { setPalette(lightPalette(Qt::white)); }

void PositionView::build() {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 18);
    layout->setSpacing(8);
    QLabel* heading = makeLabel(hexColor(theme::darkText), false, 16, this);
    heading->setText(tr("岗位及角色"));
    QLabel* hint = makeLabel(hexColor(theme::midGrey), false, 13, this);
    hint->setText(tr("填写内容有助于更好的AI面试效果哦~"));
    layout->addWidget(heading);
    layout->addWidget(hint);
    buildContentView();
    layout->addWidget(contentView_, 1);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(12);
    cancelButton_ = makeCardButton(tr("取消"), Qt::black, hexColor(theme::secondary), this);
    sureButton_ = makeCardButton(tr("确定"), Qt::white, hexColor(theme::accent), this);
    for (QPushButton* button : {cancelButton_, sureButton_}) {
        button->setMinimumHeight(static_cast<int>(editorButtonHeight * fontScale()));
        button->setAutoDefault(true);
        buttons->addWidget(button, 1);
    }
    layout->addSpacing(4);
    layout->addLayout(buttons);
    connect(cancelButton_, &QPushButton::clicked, this, &PositionView::cancelTapped);
    connect(sureButton_, &QPushButton::clicked, this, &PositionView::sureTapped);
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* sure = new QShortcut(Qt::CTRL | key, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
        connect(sure, &QShortcut::activated, sureButton_, &QPushButton::click);
    }
    sureButton_->setToolTip(QStringLiteral("Ctrl+Enter"));
    setAccessibleName(heading->text());
    roleTextView_->setAccessibleName(heading->text());
}

/// The framed text area.
void PositionView::buildContentView() {
    contentView_ = new QWidget(this);
    roleTextView_ = new QPlainTextEdit(contentView_);
    roleTextView_->setFont(systemFont(14));
    roleTextView_->setFrameShape(QFrame::NoFrame);
    roleTextView_->setTabChangesFocus(true);
    roleTextView_->document()->setDocumentMargin(0);
    auto* layout = new QVBoxLayout(contentView_);
    layout->setContentsMargins(10, 8, 6, 8);
    layout->addWidget(roleTextView_);
    placeholderLabel_ = makeLabel(hexColor(theme::placeholder), false, 14, roleTextView_->viewport());
    placeholderLabel_->setText(tr("例如：后端工程师，应聘电商公司，熟悉 C++ 与分布式系统"));
    placeholderLabel_->setAttribute(Qt::WA_TransparentForMouseEvents);
    placeholderLabel_->setForegroundRole(QPalette::WindowText); // not the text view's own colour
    placeholderLabel_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    auto* over = new QVBoxLayout(roleTextView_->viewport());
    over->setContentsMargins(1, 0, 4, 0);
    over->addWidget(placeholderLabel_);
    connect(roleTextView_, &QPlainTextEdit::textChanged, this, &PositionView::textDidChange);
    textDidChange();
}

void PositionView::textDidChange() { placeholderLabel_->setHidden(!roleTextView_->document()->isEmpty()); }

void PositionView::sureTapped() {
    if (sureContent)
        sureContent(roleTextView_->toPlainText());
    closeCurrentPopView(this);
}

void PositionView::cancelTapped() {
    if (cancelContent)
        cancelContent();
    closeCurrentPopView(this);
}

QSize PositionView::sizeHint() const { return QSize(360, 360) * fontScale(); }

void PositionView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::cardBorder), 1));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), editorRadius, editorRadius);
    painter.setPen(QPen(hexColor(theme::lightGrey), 1));
    painter.drawRoundedRect(QRectF(contentView_->geometry()).adjusted(0.5, 0.5, -0.5, -0.5), areaRadius, areaRadius);
}

void PositionView::mousePressEvent(QMouseEvent*) { roleTextView_->clearFocus(); }

} // namespace parlowen

#include "moc_PositionView.cpp"
