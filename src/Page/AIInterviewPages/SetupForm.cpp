#include "SetupForm.h"

#include "SetupNotices.h"

#include <Network/LanguageList.h>
#include <Page/View/SettingFields.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <algorithm>

namespace parlowen {

namespace {

constexpr int leftMargin = 30;
constexpr int formTop = 20;
constexpr int formBottom = 6;
constexpr int formRow = 40;  // to the row after the sound
constexpr int fieldRow = 36; // between fields
constexpr int firstRow = 28; // the strip belongs to it
constexpr int formGap = 14;
constexpr int rehearseHeight = 24;
constexpr int settingsRoom = 44;  // at the right of the first row, where the page has a button
constexpr int startGap = 40;      // from the language rows to the start
constexpr int leastStartGap = 10; // where there is little height
constexpr int narrowestNotice = 96;
constexpr int narrowestField = 100;
constexpr QSize startSize(200, 40);
constexpr int widestColumn = 720; // wider, the eye has too far to go

enum Row { sourceRow, stripRow, styleRow, modeRow, spokenRow, spokenNoticeRow, targetRow, targetNoticeRow };
enum Column { captions, fields, notices, columns };

QLabel* makeLine(const QColor& color, bool bold, int size, const QString& text, QWidget* parent) {
    QLabel* line = makeLabel(color, bold, size, parent);
    line->setWordWrap(false);
    line->setText(text);
    return line;
}

int heightOf(const QLayout& layout, int width) {
    return layout.hasHeightForWidth() ? layout.totalHeightForWidth(width) : layout.totalSizeHint().height();
}

QLabel* makeRowCaption(const QString& text, QWidget* parent) {
    return makeLine(palette::CSS::black(), false, 13, text, parent);
}

} // namespace

SetupForm::SetupForm(Settings& settings, SoundStrip::Capture capture, QWidget* parent)
    : QWidget(parent)
    , rows_(new QWidget(this))
    , start_(new QWidget(this))
    , voiceLabel_(makeLine(hexColor(theme::start), true, 14, tr("系统声音"), rows_))
    , timeLabel_(makeLine(palette::CSS::black(), false, 14, QStringLiteral("00:00:00"), rows_))
    , sourceLink_(makeLink({}, rows_))
    , rehearseButton_(makeButton(tr("用示例排练"), hexColor(theme::link), hexColor(theme::secondary), {}, 6, 12, rows_))
    , soundStrip_(new SoundStrip(settings, rows_, std::move(capture)))
    , stylePopup_(new PopUpButton(tr("回答风格"), {tr("极简风格"), tr("详细风格")}, rows_))
    , modePopup_(new PopUpButton(tr("回答模式"), {tr("自动回答"), tr("手动回答")}, rows_))
    , lelfLanguageLabel_(new ChoiceBox(tr("识别语言"), rows_))
    , spokenNotice_(new LanguageNotice(LanguageNotice::Kind::spoken, rows_))
    , outputLabel_(makeRowCaption(tr("翻译语言"), rows_))
    , rightLanguageLabel_(new ChoiceBox(outputLabel_->text(), rows_))
    , targetNotice_(new LanguageNotice(LanguageNotice::Kind::target, rows_))
    , startButton_(makeButton(tr("悬浮窗开始面试"), Qt::white, hexColor(theme::start), {}, 8, 15, start_))
    , personal_(new PersonalNotice(start_))
    , grid_(new QGridLayout(rows_))
    , source_(new QHBoxLayout) {
    stylePopup_->tag = styleTag;
    modePopup_->tag = modeTag;
    lelfLanguageLabel_->tag = spokenTag;
    rightLanguageLabel_->tag = targetTag;
    startButton_->setFixedHeight(inPoints(startSize.height()));
    startButton_->setMaximumWidth(inPoints(startSize.width()));
    startButton_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    startButton_->setAutoDefault(true);
    rehearseButton_->setFixedHeight(inPoints(rehearseHeight));
    rehearseButton_->setAutoDefault(true);
    rehearseButton_->setToolTip(tr("用一段英文面试录音试一次，不占用麦克风"));
    rehearseButton_->hide();
    layRows();
    layStart();
    scroll_ = makeScrolling(*this, rows_);
    setTabOrder(targetNotice_->insteadButton(), startButton_);
    setTabOrder(startButton_, personal_->settingsButton());
    for (QWidget* part : {rows_, start_})
        part->installEventFilter(this);
}

void SetupForm::layRows() {
    grid_->setContentsMargins(leftMargin, formTop, leftMargin, 0);
    grid_->setHorizontalSpacing(formGap);
    grid_->setVerticalSpacing(0);
    auto* source = new QHBoxLayout;
    source->addWidget(voiceLabel_);
    source->addWidget(timeLabel_);
    source->addStretch();
    auto* links = new QHBoxLayout;
    links->addWidget(sourceLink_);
    links->addStretch();
    links->addWidget(rehearseButton_);
    links->setContentsMargins(0, 0, inPoints(settingsRoom) - leftMargin, 0);
    source_->addLayout(source);
    source_->addLayout(links, 1);
    for (QBoxLayout* row : {source_, static_cast<QBoxLayout*>(source), static_cast<QBoxLayout*>(links)})
        row->setSpacing(formGap);
    grid_->addLayout(source_, sourceRow, 0, 1, columns);
    grid_->addWidget(soundStrip_, stripRow, 0, 1, columns, Qt::AlignVCenter);
    const std::pair<PopUpButton*, Row> popUps[] = {{stylePopup_, styleRow}, {modePopup_, modeRow}};
    for (const auto& [popUp, row] : popUps) {
        grid_->addWidget(makeRowCaption(popUp->accessibleName(), rows_), row, captions);
        grid_->addWidget(popUp, row, fields);
    }
    grid_->addWidget(makeRowCaption(tr("识别语言"), rows_), spokenRow, captions);
    grid_->addWidget(lelfLanguageLabel_, spokenRow, fields);
    grid_->addWidget(outputLabel_, targetRow, captions);
    grid_->addWidget(rightLanguageLabel_, targetRow, fields);
    setNarrow(false);
    for (const Row row : {styleRow, modeRow, spokenRow, targetRow})
        grid_->setRowMinimumHeight(row, inPoints(row == styleRow ? formRow : fieldRow));
    grid_->setRowMinimumHeight(sourceRow, inPoints(firstRow));
    grid_->setColumnStretch(fields, 3);
    grid_->setColumnMinimumWidth(fields, inPoints(narrowestField));
    setTabOrder(lelfLanguageLabel_, spokenNotice_->insteadButton());
    setTabOrder(spokenNotice_->insteadButton(), rightLanguageLabel_);
    setTabOrder(rightLanguageLabel_, targetNotice_->insteadButton());
}

void SetupForm::layStart() {
    auto* row = new QHBoxLayout(start_);
    row->setContentsMargins(leftMargin, 0, leftMargin, formBottom);
    row->setSpacing(formGap);
    row->addWidget(startButton_, 2);
    row->addWidget(personal_, 1);
    row->addStretch();
}

void SetupForm::setNarrow(bool narrow) {
    isNarrow_ = narrow;
    source_->setDirection(narrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
    source_->setSpacing(narrow ? 0 : formGap);
    grid_->setColumnStretch(notices, narrow ? 0 : 2);
    const std::pair<LanguageNotice*, Row> each[] = {{spokenNotice_, spokenRow}, {targetNotice_, targetRow}};
    for (const auto& [notice, row] : each) {
        grid_->removeWidget(notice);
        if (narrow)
            grid_->addWidget(notice, row + 1, fields, 1, 2);
        else
            grid_->addWidget(notice, row, notices);
    }
}

/// The start follows its choices; where there is too little height it comes nearer, then they scroll above it.
void SetupForm::place() {
    const int wide = std::min(width(), inPoints(widestColumn));
    const int field = lelfLanguageLabel_->maximumWidth();
    const int beside = wide - 2 * leftMargin - grid_->cellRect(spokenRow, captions).width() - field - 2 * formGap;
    if (isNarrow_ != (beside < inPoints(narrowestNotice)))
        setNarrow(!isNarrow_);
    rows_->setMaximumWidth(wide);
    const int startHeight = heightOf(*start_->layout(), wide);
    const int wanted = heightOf(*grid_, wide);
    const int gap = std::clamp(height() - wanted - startHeight, inPoints(leastStartGap), inPoints(startGap));
    const int rowsHeight = std::min(wanted, height() - startHeight - gap);
    scroll_->setGeometry(0, 0, width(), rowsHeight);
    start_->setGeometry(0, rowsHeight + gap, wide, startHeight);
    update();
}

bool SetupForm::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::LayoutRequest)
        place();
    return QWidget::eventFilter(watched, event);
}

void SetupForm::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    place();
}

/// A line where the choices scroll under it.
void SetupForm::paintEvent(QPaintEvent*) {
    if (scroll_->verticalScrollBar()->maximum() == 0)
        return;
    QPainter painter(this);
    painter.setPen(hexColor(theme::secondary));
    painter.drawLine(0, scroll_->geometry().bottom() + 1, width(), scroll_->geometry().bottom() + 1);
}

void SetupForm::showSource(bool system) {
    voiceLabel_->setText(system ? tr("系统声音") : tr("麦克风声音"));
    sourceLink_->setText(system ? tr("改听麦克风") : tr("改听系统声音"));
    sourceLink_->setToolTip(system ? tr("面对面的面试，改听麦克风") : tr("线上的面试，改听电脑播放的声音"));
    soundStrip_->setSystem(system);
}

void SetupForm::showLanguages(const std::optional<LanguageListModel>& spoken,
                              const std::optional<LanguageListModel>& target, bool translates) {
    lelfLanguageLabel_->showChoice(spoken ? languageName(*spoken) : QString());
    rightLanguageLabel_->showChoice(target ? languageName(*target) : QString());
    outputLabel_->setVisible(translates);
    rightLanguageLabel_->setVisible(translates);
    grid_->setRowMinimumHeight(targetRow, translates ? inPoints(fieldRow) : 0);
    spokenNotice_->setChosen(spoken);
    targetNotice_->setChosen(target);
    targetNotice_->setUsed(translates);
    lelfLanguageLabel_->setMarked(spokenNotice_->isMissing());
    rightLanguageLabel_->setMarked(targetNotice_->isMissing());
}

void SetupForm::showWaiting(bool waits) { startButton_->setText(waits ? tr("正在确认语言…") : tr("悬浮窗开始面试")); }

} // namespace parlowen

#include "moc_SetupForm.cpp"
