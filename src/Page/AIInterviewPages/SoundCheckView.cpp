#include "SoundCheckView.h"

#include <AVFoundation/ChirpProbe.h>
#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/BackgroundQueue.h>
#include <Foundation/ChosenLanguage.h>
#include <Foundation/MainQueue.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>

namespace parlowen {

namespace {

using Kind = AudioCheck::Finding::Kind;

constexpr int checkWidth = 380; // at the usual font scale
constexpr int checkInset = 20;
constexpr double checkRadius = 10;

/// Kinds differ in their sign too, for those who do not see the colour.
QString signOf(Kind kind) { return QString(QChar(kind == Kind::Good ? u'✓' : kind == Kind::Note ? u'△' : u'✕')); }

QColor colorOf(Kind kind) {
    if (kind == Kind::Good)
        return hexColor(theme::link);
    return kind == Kind::Note ? hexColor(theme::warning) : QColor(0xB3261E);
}

} // namespace

SoundCheckView::SoundCheckView(QWidget* parent)
    : BaseView(parent) {}

void SoundCheckView::buildStyle() { setPalette(lightPalette(Qt::white)); }

void SoundCheckView::build() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(checkInset, checkInset, checkInset, checkInset);
    column->setSpacing(12);
    QLabel* title = makeLabel(hexColor(theme::darkText), true, 16, this);
    title->setText(tr("声音检测"));
    title->setAlignment(Qt::AlignCenter);
    column->addWidget(title);
    scroll_ = new QScrollArea(this);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setWidgetResizable(true);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setStyleSheet(styleSheets::lightScrollBar());
    auto* findings = new QWidget;
    lines_ = new QVBoxLayout(findings);
    lines_->setContentsMargins(0, 0, 0, 0);
    lines_->setSpacing(8);
    lines_->setAlignment(Qt::AlignTop);
    scroll_->setWidget(findings);
    for (QWidget* ground : {scroll_->viewport(), findings})
        ground->setAutoFillBackground(false);
    column->addWidget(scroll_, 1);
    progress_ = makeLabel(hexColor(theme::midGrey), false, 13, this);
    column->addWidget(progress_);
    closeButton_ = makeCardButton(tr("关闭"), Qt::white, hexColor(theme::accent), this);
    closeButton_->setMinimumHeight(inPoints(36));
    closeButton_->setAutoDefault(true);
    connect(closeButton_, &QPushButton::clicked, this, [this] { closeCurrentPopView(this); });
    column->addWidget(closeButton_);
    setAccessibleName(title->text());
}

void SoundCheckView::run(bool systemSound) {
    const AudioCheck found = checkAudio(AudioHardwareService::shared(), windowLanguage());
    for (const AudioCheck::Finding& finding : found.findings)
        add(finding);
    if (!systemSound || !found.isReady()) {
        progress_->hide();
        resize(sizeHint());
        return;
    }
    progress_->setText(tr("正在播放测试音并收听…"));
    resize(sizeHint());
    inBackground([self = QPointer(this)] {
        const ChirpResult result = playAndListenForChirp();
        onMain(self, [self, result] {
            self->add(chirpFinding(result, windowLanguage()));
            self->progress_->hide();
            self->resize(self->sizeHint());
        });
    });
}

void SoundCheckView::add(const AudioCheck::Finding& finding) {
    auto* row = new QHBoxLayout;
    row->setSpacing(10);
    QLabel* sign = makeLabel(colorOf(finding.kind), true, 14, scroll_->widget());
    sign->setText(signOf(finding.kind));
    sign->setFixedWidth(inPoints(16));
    row->addWidget(sign, 0, Qt::AlignTop);
    sign->show();
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    for (const auto& [text, color] :
         {std::pair(finding.text, theme::darkText), std::pair(finding.advice, theme::midGrey)}) {
        if (text.isEmpty())
            continue;
        QLabel* label = makeLabel(hexColor(color), false, 13, scroll_->widget());
        label->setText(text);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        texts->addWidget(label);
        label->show(); // counts in the size at once
    }
    row->addLayout(texts, 1);
    lines_->addLayout(row);
}

QSize SoundCheckView::sizeHint() const {
    const int wide = inPoints(checkWidth);
    const int others = layout()->totalHeightForWidth(wide) - scroll_->sizeHint().height();
    return {wide, others + lines_->totalHeightForWidth(wide - 2 * checkInset)};
}

void SoundCheckView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::secondary), 1));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), checkRadius, checkRadius);
}

} // namespace parlowen

#include "moc_SoundCheckView.cpp"
