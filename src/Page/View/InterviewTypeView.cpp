#include "InterviewTypeView.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <utility>

namespace parlowen {

namespace {

struct TypeWords {
    const char* title;
    const char* subtitle;
    const char* image;
    const char* button;
};

constexpr std::array<TypeWords, 3> typeWords{
    {{QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "国内面试AI"),
      QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "适用于国内校招、公司、机构"), "ai_guonei",
      QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "国内面试AI")},
     {QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "国外面试AI"),
      QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "适应于海外求职或学术面试，涉及翻译"), "ai_guowai",
      QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "国外面试AI")},
     {QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "都可能涉及"), "", "ai_guoneiwai",
      QT_TRANSLATE_NOOP("parlowen::InterviewTypeView", "AI面试")}}};

constexpr int optionHeight = 76;
constexpr int optionInset = 14;
constexpr int pictureSize = 40;
constexpr int typeMark = 20;
constexpr double typeRadius = 10;
constexpr int cardInset = 20;
constexpr int cardButtonHeight = 38;

} // namespace

InterviewContentView::InterviewContentView(QWidget* parent)
    : KeyFocusButton(parent)
    , imageView(new QLabel(this))
    , titleLabel_(makeLabel(hexColor(theme::darkText), false, 14, this))
    , subtitleLabel_(makeLabel(hexColor(theme::midGrey), false, 12, this))
    , selectImageView_(new QLabel(this)) {
    setCheckable(true);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(optionInset, 0, optionInset, 0);
    row->setSpacing(optionInset);
    row->addWidget(imageView);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(4);
    texts->addStretch();
    texts->addWidget(titleLabel_);
    texts->addWidget(subtitleLabel_);
    texts->addStretch();
    row->addLayout(texts, 1);
    row->addWidget(selectImageView_);
    for (QLabel* part : {imageView, titleLabel_, subtitleLabel_, selectImageView_}) {
        part->setAttribute(Qt::WA_TransparentForMouseEvents);
        part->setForegroundRole(QPalette::WindowText); // not the button's
    }
    selectImageView_->setPixmap(namedImage(QStringLiteral("ai_select"))
                                    .pixmap(QSize(inPoints(typeMark), inPoints(typeMark)), devicePixelRatioF()));
    QSizePolicy stays = selectImageView_->sizePolicy();
    stays.setRetainSizeWhenHidden(true); // the texts do not move with the mark
    selectImageView_->setSizePolicy(stays);
    connect(this, &QAbstractButton::clicked, this, &InterviewContentView::handleClick);
    connect(this, &QAbstractButton::toggled, this, [this](bool on) { // as assistive technology chooses
        if (on)
            handleClick();
    });
}

void InterviewContentView::configure(const QString& image, const QString& title, const QString& subtitle,
                                     bool selected) {
    imageView->setPixmap(
        namedImage(image).pixmap(QSize(inPoints(pictureSize), inPoints(pictureSize)), devicePixelRatioF()));
    titleLabel_->setText(title);
    subtitleLabel_->setText(subtitle);
    subtitleLabel_->setHidden(subtitle.isEmpty());
    {
        const QSignalBlocker shownAlone(this);
        setAutoExclusive(false); // or the last one that was chosen would stay so
        setChecked(selected);
        setAutoExclusive(true);
    }
    selectImageView_->setVisible(selected);
    setAccessibleName(title);
    setAccessibleDescription(subtitle);
    update();
}

QSize InterviewContentView::sizeHint() const { return {inPoints(300), inPoints(optionHeight)}; }

void InterviewContentView::handleClick() {
    if (clickHandler)
        clickHandler();
}

void InterviewContentView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool pointed = underMouse() || isDown();
    QColor ground = palette::CSS::lightGray();
    ground.setAlphaF(pointed ? 0.25F : 0.1F);
    painter.setBrush(ground);
    painter.setPen(isChecked() ? QPen(hexColor(theme::cardBorder), 1) : QPen(Qt::NoPen));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), typeRadius, typeRadius);
    if (!hasFocus())
        return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(hexColor(theme::link), 2));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), typeRadius, typeRadius);
}

InterviewTypeView::InterviewTypeView(QWidget* parent)
    : BaseView(parent) {}

QString InterviewTypeView::buttonTitle(const std::optional<qint64>& type) {
    const bool known = type && *type >= 1 && *type <= static_cast<qint64>(typeWords.size());
    return tr(known ? typeWords.at(static_cast<std::size_t>(*type - 1)).button : typeWords.back().button);
}

void InterviewTypeView::buildStyle() { setPalette(lightPalette(Qt::white)); }

void InterviewTypeView::build() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(cardInset, cardInset, cardInset, cardInset);
    column->setSpacing(10);
    typeLabel_ = makeLabel(hexColor(theme::darkText), true, 16, this);
    typeLabel_->setText(tr("选择面试类型"));
    contentLabel_ = makeLabel(hexColor(theme::midGrey), false, 14, this);
    contentLabel_->setText(tr("有助于更好的展示ai面试效果哦～"));
    for (QLabel* label : {typeLabel_, contentLabel_}) {
        label->setAlignment(Qt::AlignCenter);
        column->addWidget(label);
    }
    column->addSpacing(4);
    qint64 value = 0;
    for (InterviewContentView** option : {&ai1view, &ai2view, &ai3view}) {
        *option = new InterviewContentView(this);
        (*option)->clickHandler = [this, chosen = ++value] {
            type = chosen;
            refresh();
        };
        column->addWidget(*option, 1);
    }
    column->addSpacing(6);
    column->addLayout(buildButtons());
    setAccessibleName(typeLabel_->text());
    refresh();
}

QLayout* InterviewTypeView::buildButtons() {
    const QColor accent = hexColor(theme::accent);
    const auto framed = [&accent](QPushButton* button) {
        button->setStyleSheet(button->styleSheet() +
                              QStringLiteral("QPushButton { border: 1px solid %1; } QPushButton:focus { border: 2px "
                                             "solid %2; }")
                                  .arg(accent.name(), hexColor(theme::link).name()));
    };
    skipButton_ = makeButton(
        tr("跳过"), accent, Qt::white, [this] { skipTap(); }, 5, 14, this);
    sureButton_ = makeButton(
        tr("确定"), Qt::white, accent, [this] { sureTap(); }, 5, 14, this);
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    for (QPushButton* button : {skipButton_, sureButton_}) {
        framed(button);
        button->setMinimumHeight(inPoints(cardButtonHeight));
        button->setAutoDefault(true); // Enter presses the one that has the keyboard
        row->addWidget(button, 1);
    }
    return row;
}

void InterviewTypeView::refresh() {
    const auto views = options();
    for (std::size_t i = 0; i < views.size(); ++i) {
        const TypeWords& words = typeWords.at(i);
        views.at(i)->configure(QString::fromUtf8(words.image), tr(words.title),
                               *words.subtitle == 0 ? QString() : tr(words.subtitle),
                               type == static_cast<qint64>(i) + 1);
    }
}

void InterviewTypeView::skipTap() { closeCurrentPopView(this); }

void InterviewTypeView::sureTap() {
    if (type && selectInterviewBlock)
        selectInterviewBlock(*type);
    closeCurrentPopView(this);
}

void InterviewTypeView::setCornerRadius(double radius) {
    cornerRadius_ = radius;
    update();
}

void InterviewTypeView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::secondary), 1)); // lifts it off a ground that is nearly white
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius_, cornerRadius_);
}

} // namespace parlowen

#include "moc_InterviewTypeView.cpp"
