#include "SoundStrip.h"

#include "SetupNotices.h"
#include "SoundCheckView.h"

#include <Foundation/ChosenLanguage.h>
#include <Network/Settings.h>
#include <Page/View/SettingFields.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>
#include <Tools/SessionStatusText.h>

#include <QBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTimerEvent>
#include <algorithm>
#include <cmath>
#include <utility>

namespace parlowen {

namespace {

constexpr int levelMilliseconds = 60;
constexpr int checkHeight = 28;
constexpr int narrowestPrograms = 90;
constexpr int levelWidth = 4;
constexpr int levelGap = 2;
constexpr int levelHeight = 16;
constexpr double stripRadius = 10;
constexpr std::uint32_t framesPerBuffer = 2048;

} // namespace

LevelMeter::LevelMeter(QWidget* parent)
    : QWidget(parent) {
    setFixedSize(inPoints(bars * (levelWidth + levelGap) - levelGap), inPoints(levelHeight));
    setAccessibleName(tr("音量"));
}

void LevelMeter::follow(std::shared_ptr<InputMeter> meter) {
    meter_ = std::move(meter);
    litBars_ = 0;
    if (meter_) {
        meter_->take(); // what was loud before nobody looked
        ticks_.start(levelMilliseconds, this);
    } else {
        ticks_.stop();
    }
    update();
}

void LevelMeter::timerEvent(QTimerEvent* event) {
    if (event->timerId() != ticks_.timerId())
        return;
    // It rises at once and falls bar by bar.
    const int lit = std::max(static_cast<int>(std::lround(meterShare(meter_->take()) * bars)), litBars_ - 1);
    if (std::exchange(litBars_, lit) != lit)
        update();
}

void LevelMeter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.scale(fontScale(), fontScale());
    for (int i = 0; i < bars; ++i) {
        painter.setBrush(hexColor(i < litBars_ ? theme::accent : theme::secondary));
        painter.drawRoundedRect(QRect(i * (levelWidth + levelGap), 0, levelWidth, levelHeight), 2, 2);
    }
}

SoundStrip::SoundStrip(Settings& settings, QWidget* parent, Capture capture)
    : QWidget(parent)
    , settings_(settings)
    , capture_(std::move(capture))
    , meter_(new LevelMeter(this))
    , name_(makeLabel(hexColor(theme::darkText), false, 12, this))
    , programs_(new PopUpButton(tr("收听哪个程序"), {tr("全部声音")}, this))
    , check_(makeButton(
          tr("检测声音"), hexColor(theme::link), hexColor(theme::field), [this] { runCheck(); }, 12, 13, this)) {
    build();
    RecognitionStatus none; // of which there is nothing to say here
    none.state = RecognitionStatus::State::Recognizing;
    status_.setRecognition(none);
    connect(&status_, &SessionStatus::inputChanged, this, &SoundStrip::sayWhatIsHeard);
    connect(&playing_, &PlayingPrograms::changed, this, &SoundStrip::listPrograms);
    connect(programs_, &QComboBox::activated, this, &SoundStrip::programChosen);
}

SoundStrip::~SoundStrip() { stop(); }

void SoundStrip::build() {
    check_->setMinimumHeight(inPoints(checkHeight));
    check_->setAutoDefault(true);
    programs_->setMinimumWidth(inPoints(narrowestPrograms));
    name_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    name_->setMinimumHeight(2 * name_->fontMetrics().lineSpacing()); // a warning moves nothing below it
    auto* row = new QHBoxLayout;
    row->setSpacing(10);
    row->addWidget(meter_);
    row->addWidget(programs_);
    row->addStretch();
    row->addWidget(check_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(12, 3, 6, 3);
    column->setSpacing(0);
    column->addLayout(row);
    column->addWidget(name_);
}

void SoundStrip::setSystem(bool system) {
    const bool again = isListening() && system != system_;
    if (again)
        stop(); // a capture does not turn from one kind to the other
    system_ = system;
    programs_->setVisible(system);
    listPrograms();
    if (again)
        listen();
}

SessionSound SoundStrip::sound() const {
    return {system_, system_ ? settings_.heardProgram().value_or(QString()) : QString()};
}

void SoundStrip::listen() {
    hear(sound());
    if (!source_) {
        source_ = capture_(status_.inputObserver())();
        if (!source_->format() || !source_->start(framesPerBuffer, [](const auto&) {}))
            source_.reset();
    }
    meter_->follow(source_ ? status_.meter() : nullptr);
    sayWhatIsHeard();
}

void SoundStrip::stop() {
    meter_->follow(nullptr);
    if (source_)
        source_->stop();
    source_.reset();
}

void SoundStrip::sayWhatIsHeard() {
    const SessionStatusText words = sessionStatusText(status_.input(), status_.recognition(), windowLanguage());
    isDeaf_ = words.severity == SessionStatusText::Severity::Problem;
    question_ = headline(words, status_.input());
    const bool isPlain = words.severity == SessionStatusText::Severity::Plain;
    advice_ = isPlain ? QString() : words.advice.value(0);
    name_->setText(advice_.isEmpty() ? question_ : tr("%1。%2").arg(question_, advice_));
    setTextColor(*name_, hexColor(isPlain ? theme::darkText : theme::warning));
    setAccessibleName(name_->text());
}

CommonTipView* SoundStrip::makeQuestion() const {
    return makeStartQuestion(question_, tr("现在开始的面试什么也听不到。") + advice_,
                             system_ ? check_->text() : tr("改听系统声音"));
}

void SoundStrip::listPrograms() {
    const QString chosen = settings_.heardProgram().value_or(QString());
    QStringList names = playing_.names();
    programs_->clear();
    programs_->addItem(tr("全部声音"), QString());
    if (!chosen.isEmpty() && !names.contains(chosen))
        programs_->addItem(tr("%1（未播放）").arg(chosen), chosen);
    for (const QString& name : std::as_const(names))
        programs_->addItem(name, name);
    programs_->setCurrentIndex(std::max(0, programs_->findData(chosen)));
    programs_->setToolTip(programs_->currentText());
}

void SoundStrip::programChosen(int index) {
    const QString chosen = programs_->itemData(index).toString();
    settings_.setHeardProgram(chosen.isEmpty() ? std::nullopt : std::optional(chosen));
    if (isListening())
        listen();
}

void SoundStrip::runCheck() {
    auto* card = makeView<SoundCheckView>(nullptr);
    card->resize(card->sizeHint());
    MYCenterPopView::show(card, keyWindowContent(this));
    card->run(system_);
}

void SoundStrip::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    listen();
}

void SoundStrip::hideEvent(QHideEvent* event) {
    stop();
    QWidget::hideEvent(event);
}

void SoundStrip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(theme::secondary), 1));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), stripRadius, stripRadius);
}

} // namespace parlowen

#include "moc_SoundStrip.cpp"
