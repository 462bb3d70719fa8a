#include "SetupForm.h"

#include "SetupNotices.h"

#include <Page/View/SettingFields.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>

namespace parlowen {

namespace {

constexpr int leftMargin = 30;
constexpr int formTop = 20;
constexpr int formBottom = 8;
constexpr int formRow = 40;
constexpr int firstRow = 28; // the strip belongs to it
constexpr int formGap = 14;
constexpr int rehearseHeight = 24;
constexpr int startGap = 40; // from the language rows to the start
constexpr QSize startSize(200, 40);
constexpr int widestColumn = 720; // wider, the eye has too far to go

enum Row { sourceRow, stripRow, styleRow, modeRow, spokenRow, targetRow, gapRow, startRow, restRow };

int inPoints(int points) { return static_cast<int>(points * fontScale()); }

QLabel* makeLine(const QColor& color, bool bold, int size, const QString& text, QWidget* parent) {
    QLabel* line = makeLabel(color, bold, size, parent);
    line->setWordWrap(false);
    line->setText(text);
    return line;
}

QLabel* makeRowCaption(const QString& text, QWidget* parent) {
    return makeLine(palette::CSS::black(), false, 13, text, parent);
}

} // namespace

SetupForm::SetupForm(Settings& settings, SoundStrip::Capture capture, QWidget* parent)
    : QWidget(parent)
    , voiceLabel_(makeLine(hexColor(theme::start), true, 14, tr("系统声音"), this))
    , timeLabel_(makeLine(palette::CSS::black(), false, 14, QStringLiteral("00:00:00"), this))
    , sourceLink_(makeLink({}, this))
    , rehearseButton_(makeButton(tr("用示例排练"), hexColor(theme::link), hexColor(theme::secondary), {}, 6, 12, this))
    , soundStrip_(new SoundStrip(settings, this, std::move(capture)))
    , stylePopup_(new PopUpButton(tr("回答风格"), {tr("极简风格"), tr("详细风格")}, this))
    , modePopup_(new PopUpButton(tr("回答模式"), {tr("自动回答"), tr("手动回答")}, this))
    , lelfLanguageLabel_(new ChoiceBox(tr("识别语言"), this))
    , spokenNotice_(new LanguageNotice(LanguageNotice::Kind::spoken, this))
    , outputLabel_(makeRowCaption(tr("翻译语言"), this))
    , rightLanguageLabel_(new ChoiceBox(outputLabel_->text(), this))
    , targetNotice_(new LanguageNotice(LanguageNotice::Kind::target, this))
    , startButton_(makeButton(tr("悬浮窗开始面试"), Qt::white, hexColor(theme::start), {}, 8, 15, this))
    , personal_(new PersonalNotice(this))
    , grid_(new QGridLayout(this)) {
    stylePopup_->tag = styleTag;
    modePopup_->tag = modeTag;
    lelfLanguageLabel_->tag = spokenTag;
    rightLanguageLabel_->tag = targetTag;
    startButton_->setFixedSize(startSize * fontScale());
    startButton_->setAutoDefault(true);
    rehearseButton_->setFixedHeight(inPoints(rehearseHeight));
    rehearseButton_->setAutoDefault(true);
    rehearseButton_->setToolTip(tr("用一段英文面试录音试一次，不占用麦克风"));
    rehearseButton_->hide();
    setMaximumWidth(inPoints(widestColumn));
    layRows();
}

void SetupForm::layRows() {
    grid_->setContentsMargins(leftMargin, formTop, leftMargin, formBottom);
    grid_->setHorizontalSpacing(formGap);
    grid_->setVerticalSpacing(0);
    auto* source = new QHBoxLayout;
    source->setSpacing(formGap);
    source->addWidget(voiceLabel_);
    source->addWidget(timeLabel_);
    source->addWidget(sourceLink_);
    source->addStretch();
    source->addWidget(rehearseButton_);
    source->addSpacing(formGap);
    grid_->addLayout(source, sourceRow, 0, 1, 3, Qt::AlignTop);
    grid_->addWidget(soundStrip_, stripRow, 0, 1, 3, Qt::AlignVCenter);
    const std::pair<PopUpButton*, Row> popUps[] = {{stylePopup_, styleRow}, {modePopup_, modeRow}};
    for (const auto& [popUp, row] : popUps) {
        grid_->addWidget(makeRowCaption(popUp->accessibleName(), this), row, 0);
        grid_->addWidget(popUp, row, 1);
    }
    grid_->addWidget(makeRowCaption(tr("识别语言"), this), spokenRow, 0);
    grid_->addWidget(lelfLanguageLabel_, spokenRow, 1);
    grid_->addWidget(spokenNotice_, spokenRow, 2);
    grid_->addWidget(outputLabel_, targetRow, 0);
    grid_->addWidget(rightLanguageLabel_, targetRow, 1);
    grid_->addWidget(targetNotice_, targetRow, 2);
    auto* start = new QHBoxLayout;
    start->setSpacing(formGap);
    start->addWidget(startButton_);
    start->addWidget(personal_, 1);
    start->addStretch();
    grid_->addLayout(start, startRow, 0, 1, 3);
    for (int row = stripRow; row <= targetRow; ++row)
        grid_->setRowMinimumHeight(row, inPoints(formRow));
    grid_->setRowMinimumHeight(sourceRow, inPoints(firstRow));
    grid_->setRowMinimumHeight(gapRow, inPoints(startGap) - 4);
    grid_->setRowStretch(restRow, 1);
    grid_->setColumnStretch(2, 1);
    setTabOrder(lelfLanguageLabel_, spokenNotice_->insteadButton());
    setTabOrder(spokenNotice_->insteadButton(), rightLanguageLabel_);
    setTabOrder(rightLanguageLabel_, targetNotice_->insteadButton());
}

void SetupForm::showSource(bool system) {
    voiceLabel_->setText(system ? tr("系统声音") : tr("麦克风声音"));
    sourceLink_->setText(system ? tr("改听麦克风") : tr("改听系统声音"));
    sourceLink_->setToolTip(system ? tr("面对面的面试，在面试设置里改听麦克风")
                                   : tr("线上的面试，在面试设置里改听电脑播放的声音"));
    soundStrip_->setSystem(system);
}

void SetupForm::showLanguages(const std::optional<LanguageListModel>& spoken,
                              const std::optional<LanguageListModel>& target, bool translates) {
    lelfLanguageLabel_->showChoice(spoken ? spoken->name : QString());
    rightLanguageLabel_->showChoice(target ? target->name : QString());
    outputLabel_->setVisible(translates);
    rightLanguageLabel_->setVisible(translates);
    grid_->setRowMinimumHeight(targetRow, translates ? inPoints(formRow) : 0);
    spokenNotice_->setChosen(spoken);
    targetNotice_->setChosen(target);
    targetNotice_->setUsed(translates);
    lelfLanguageLabel_->setMarked(spokenNotice_->isMissing());
    rightLanguageLabel_->setMarked(targetNotice_->isMissing());
}

void SetupForm::showWaiting(bool waits) { startButton_->setText(waits ? tr("正在确认语言…") : tr("悬浮窗开始面试")); }

} // namespace parlowen
