#include "InterviewSettingViewController.h"

#include "SessionWindow.h"
#include "SetupNotices.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/NotificationCenter.h>
#include <Network/LanguageList.h>
#include <Network/Profile.h>
#include <Network/Settings.h>
#include <Page/View/SettingFields.h>
#include <Tools/AudioRouting.h>
#include <Tools/MicroManagement.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/Popover.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolButton>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr int leftMargin = 30;
constexpr int setupTop = 20;
constexpr int setupRow = 40;
constexpr int setupGap = 14;
constexpr int startGap = 40; // from the language rows to the start
constexpr QSize startSize(200, 40);
constexpr int rehearseHeight = 24;
constexpr int gearSize = 24;
constexpr int gearMargin = 10;
constexpr int widestColumn = 720; // wider, the eye has too far to go

constexpr int targetRow = 5; // of the layout
constexpr int spokenKind = 1;
constexpr int targetKind = 2;
constexpr int styleTag = 0;
constexpr int modeTag = 1;

const QString concise = QStringLiteral("极简风格");
const QString automaticMode = QStringLiteral("自动回答");

const LanguageListModel builtInChinese{128, QStringLiteral("中文（简体）"), QStringLiteral("zh-CN"),
                                       QStringLiteral("zh-Hans"), QStringLiteral("Z")};
const LanguageListModel builtInEnglish{135, QStringLiteral("英语（美国）"), QStringLiteral("en-US"),
                                       QStringLiteral("en"), QStringLiteral("Y")};

int scaled(int points) { return static_cast<int>(points * fontScale()); }

QString nameOf(const std::optional<LanguageListModel>& language) { return language ? language->name : QString(); }

} // namespace

InterviewSettingViewController::InterviewSettingViewController(SetupServices services, QWidget* parent)
    : BaseViewController(parent)
    , services_(std::move(services))
    , settings_(*services_.settings)
    , aiInterviewType_(settings_.aiInterviewType())
    , content_(new QWidget)
    , popover_(new Popover(this)) {}

void InterviewSettingViewController::viewDidLoad() {
    BaseViewController::viewDidLoad();
    loadStored();
    NotificationCenter::shared().observe(QStringLiteral("InterviewTypeNotification"), this,
                                         [this](const Notification& told) { handleMyNotification(told); });
}

QLabel* InterviewSettingViewController::makeCaption(const QString& text) {
    QLabel* caption = makeLabel(palette::CSS::black(), false, 13, content_);
    caption->setWordWrap(false);
    caption->setText(text);
    return caption;
}

void InterviewSettingViewController::buildUserInterface() {
    voiceLabel_ = makeLabel(hexColor(theme::start), true, 14, content_);
    voiceLabel_->setText(QStringLiteral("系统声音"));
    timeLabel_ = makeLabel(palette::CSS::black(), false, 14, content_);
    timeLabel_->setText(QStringLiteral("00:00:00"));
    for (QLabel* label : {voiceLabel_, timeLabel_})
        label->setWordWrap(false);
    soundStrip_ = new SoundStrip(settings_, content_, services_.capture);

    stylePopup_ = new PopUpButton(QStringLiteral("回答风格"), {concise, QStringLiteral("详细风格")}, content_);
    stylePopup_->tag = styleTag;
    modePopup_ = new PopUpButton(QStringLiteral("回答模式"), {automaticMode, QStringLiteral("手动回答")}, content_);
    modePopup_->tag = modeTag;
    for (PopUpButton* popup : {stylePopup_, modePopup_})
        connect(popup, &QComboBox::activated, this, [this, popup] { popupSelectionChanged(popup); });

    buildLanguages();
    buildStart();

    settingsButton_ = new QToolButton(this);
    settingsButton_->setIcon(namedImage(QStringLiteral("action")));
    settingsButton_->setIconSize({gearSize, gearSize});
    settingsButton_->setStyleSheet(QStringLiteral("QToolButton { border: none; border-radius: 6px; }"
                                                  "QToolButton:hover { background: %1; }"
                                                  "QToolButton:focus { border: 1px solid %2; }")
                                       .arg(hexColor(theme::secondary).name(), hexColor(theme::accent).name()));
    settingsButton_->setCursor(Qt::PointingHandCursor);
    settingsButton_->setFocusPolicy(Qt::TabFocus);
    settingsButton_->setToolTip(QStringLiteral("面试设置"));
    settingsButton_->setAccessibleName(settingsButton_->toolTip());
    connect(settingsButton_, &QToolButton::clicked, this, &InterviewSettingViewController::openSettings);
}

void InterviewSettingViewController::buildLanguages() {
    outputLabel_ = makeCaption(QStringLiteral("翻译语言"));
    lelfLanguageLabel_ = new ChoiceBox(QStringLiteral("识别语言"), content_);
    lelfLanguageLabel_->tag = spokenKind;
    rightLanguageLabel_ = new ChoiceBox(outputLabel_->text(), content_);
    rightLanguageLabel_->tag = targetKind;
    for (ChoiceBox* box : {lelfLanguageLabel_, rightLanguageLabel_})
        connect(box, &QAbstractButton::clicked, this, [this, box] { languagePopupClicked(box); });
    spokenNotice_ = new LanguageNotice(LanguageNotice::Kind::spoken, content_);
    targetNotice_ = new LanguageNotice(LanguageNotice::Kind::target, content_);
    for (const LanguageNotice* notice : {spokenNotice_, targetNotice_})
        connect(notice, &LanguageNotice::insteadTaken, this, [this, notice] { takeInstead(*notice); });
}

void InterviewSettingViewController::buildStart() {
    startButton_ = makeButton(
        QStringLiteral("悬浮窗开始面试"), Qt::white, hexColor(theme::start), [this] { startInterview(); }, 8, 15,
        content_);
    startButton_->setFixedSize(startSize * fontScale());
    startButton_->setAutoDefault(true);
    if (services_.rehearse) {
        rehearseButton_ = makeButton(QStringLiteral("用示例排练"), hexColor(theme::link), hexColor(theme::secondary),
                                     services_.rehearse, 6, 12, content_);
        rehearseButton_->setAutoDefault(true);
        rehearseButton_->setFixedHeight(scaled(rehearseHeight));
        rehearseButton_->setToolTip(QStringLiteral("用一段英文面试录音试一次，不占用麦克风"));
    }
    personal_ = new PersonalNotice(content_);
    connect(personal_->settingsButton(), &QPushButton::clicked, this, &InterviewSettingViewController::openSettings);
}

void InterviewSettingViewController::buildLayout() {
    auto* grid = new QGridLayout(content_);
    grid->setContentsMargins(leftMargin, setupTop, leftMargin, setupTop);
    grid->setHorizontalSpacing(setupGap);
    grid->setVerticalSpacing(0);
    auto* source = new QHBoxLayout;
    source->setSpacing(setupGap);
    source->addWidget(voiceLabel_);
    source->addWidget(timeLabel_);
    source->addStretch();
    if (rehearseButton_ != nullptr) {
        source->addWidget(rehearseButton_);
        source->addSpacing(gearMargin);
    }
    grid->addLayout(source, 0, 0, 1, 3, Qt::AlignTop);
    grid->addWidget(soundStrip_, 1, 0, 1, 3, Qt::AlignVCenter);
    grid->addWidget(makeCaption(QStringLiteral("回答风格")), 2, 0);
    grid->addWidget(stylePopup_, 2, 1);
    grid->addWidget(makeCaption(QStringLiteral("回答模式")), 3, 0);
    grid->addWidget(modePopup_, 3, 1);
    grid->addWidget(makeCaption(QStringLiteral("识别语言")), 4, 0);
    grid->addWidget(lelfLanguageLabel_, 4, 1);
    grid->addWidget(spokenNotice_, 4, 2);
    grid->addWidget(outputLabel_, targetRow, 0);
    grid->addWidget(rightLanguageLabel_, targetRow, 1);
    grid->addWidget(targetNotice_, targetRow, 2);
    auto* start = new QHBoxLayout;
    start->setSpacing(setupGap);
    start->addWidget(startButton_);
    start->addWidget(personal_, 1);
    start->addStretch();
    grid->addLayout(start, 7, 0, 1, 3);
    for (int row = 1; row <= 5; ++row)
        grid->setRowMinimumHeight(row, scaled(setupRow));
    grid->setRowMinimumHeight(0, scaled(setupRow) - 8);
    grid->setRowMinimumHeight(6, scaled(startGap) - 4);
    grid->setRowStretch(8, 1);
    grid->setColumnStretch(2, 1);
    content_->setMaximumWidth(scaled(widestColumn));

    auto* area = new QScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus);
    area->verticalScrollBar()->setStyleSheet(styleSheets::lightScrollBar());
    area->horizontalScrollBar()->setStyleSheet(styleSheets::lightScrollBar());
    area->setWidget(content_);
    for (QWidget* ground : {area->viewport(), content_})
        ground->setAutoFillBackground(false);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(area);
    settingsButton_->raise();
    setTabOrder(lelfLanguageLabel_, spokenNotice_->insteadButton());
    setTabOrder(spokenNotice_->insteadButton(), rightLanguageLabel_);
    setTabOrder(rightLanguageLabel_, targetNotice_->insteadButton());
}

void InterviewSettingViewController::resizeEvent(QResizeEvent* event) {
    BaseViewController::resizeEvent(event);
    if (settingsButton_ == nullptr)
        return;
    settingsButton_->setGeometry(width() - gearMargin - gearSize, gearMargin, gearSize, gearSize);
}

void InterviewSettingViewController::loadStored() {
    if (!settings_.aiLangChinaModel())
        settings_.setAiLangChinaModel(builtInChinese);
    lelfLangModel_ = settings_.aiLangLeftModel();
    if (!lelfLangModel_) {
        lelfLangModel_ = builtInChinese;
        settings_.setAiLangLeftModel(lelfLangModel_);
    }
    rightLangModel_ = settings_.aiLangRightModel();
    if (!rightLangModel_) {
        rightLangModel_ = builtInEnglish;
        settings_.setAiLangRightModel(rightLangModel_);
    }
    rightLanguageLabel_->showChoice(nameOf(rightLangModel_));
    if (const auto stored = settings_.aiInterviewSetModel())
        startAIModel_ = *stored;
    else
        settings_.setAiInterviewSetModel(startAIModel_);
    stylePopup_->setCurrentIndex(static_cast<int>(startAIModel_.generateAnswerType));
    modePopup_->setCurrentIndex(static_cast<int>(startAIModel_.antoAnswerType));
    soundStrip_->setSystem(startAIModel_.deviceType != 0);
    applyInterviewType();
}

void InterviewSettingViewController::applyInterviewType() {
    if (isSingle())
        chinaLangModel_ = settings_.aiLangChinaModel();
    else
        lelfLangModel_ = settings_.aiLangLeftModel();
    lelfLanguageLabel_->showChoice(nameOf(spokenLanguage()));
    outputLabel_->setHidden(isSingle());
    rightLanguageLabel_->setHidden(isSingle());
    if (auto* grid = qobject_cast<QGridLayout*>(content_->layout()))
        grid->setRowMinimumHeight(targetRow, isSingle() ? 0 : scaled(setupRow));
    showNotices();
}

void InterviewSettingViewController::viewDidAppear() {
    // A session that is over may have changed the text size.
    const auto stored = settings_.aiInterviewSetModel();
    if (stored)
        startAIModel_ = *stored;
    const bool microphone = stored && stored->deviceType == 0;
    voiceLabel_->setText(microphone ? QStringLiteral("麦克风声音") : QStringLiteral("系统声音"));
    soundStrip_->setSystem(!microphone);
    showPersonalHint();
    refreshProfile(*services_.http, settings_, this, [this](const UserBaseModel&) { showPersonalHint(); });
    requestOffered();
}

void InterviewSettingViewController::handleMyNotification(const Notification& notification) {
    const QJsonValue type = notification.userInfo.value(QStringLiteral("type"));
    if (!type.isDouble())
        return;
    consoleLog(QStringLiteral("收到通知内容：%1").arg(type.toInteger()));
    aiInterviewType_ = settings_.aiInterviewType();
    applyInterviewType();
}

void InterviewSettingViewController::popupSelectionChanged(PopUpButton* sender) {
    const QString title = sender->currentText();
    if (sender->tag == modeTag) {
        consoleLog(QStringLiteral("回答模式选择：") + title);
        startAIModel_.antoAnswerType = title == automaticMode ? 0 : 1;
    } else if (sender->tag == styleTag) {
        consoleLog(QStringLiteral("回答风格选择：") + title);
        startAIModel_.generateAnswerType = title == concise ? 0 : 1;
    } else {
        return;
    }
    settings_.setAiInterviewSetModel(startAIModel_);
}

void InterviewSettingViewController::languagePopupClicked(const ChoiceBox* box) {
    source_ = box->tag;
    auto* picker = new LanguageListViewController(*services_.http);
    picker->source = source_;
    picker->setDelegate(this);
    popover_->setContentView(picker);
    popover_->show(const_cast<ChoiceBox*>(box), Popover::Edge::below);
}

void InterviewSettingViewController::didSelectLanguage(LanguageListModel language) {
    if (source_ != spokenKind) {
        rightLangModel_ = language;
        rightLanguageLabel_->showChoice(language.name);
        settings_.setAiLangRightModel(language);
    } else {
        lelfLanguageLabel_->showChoice(language.name);
        if (isSingle()) {
            chinaLangModel_ = language;
            settings_.setAiLangChinaModel(language);
        } else {
            lelfLangModel_ = language;
            settings_.setAiLangLeftModel(language);
        }
    }
    popover_->close();
    showNotices();
}

void InterviewSettingViewController::openSettings() {
    consoleLog(QStringLiteral("打开设置"));
    NotificationCenter::shared().post(QStringLiteral("AiSettingNotification"), this,
                                      {{QStringLiteral("message"), QStringLiteral("打开设置")}});
}

void InterviewSettingViewController::requestOffered() {
    for (LanguageNotice* notice : {spokenNotice_, targetNotice_}) {
        ++requests_;
        requestLanguages(*services_.http, notice == spokenNotice_ ? spokenKind : targetKind, this,
                         [this, notice](const auto& languages) { receiveOffered(*notice, languages); });
    }
}

void InterviewSettingViewController::receiveOffered(LanguageNotice& notice,
                                                    std::optional<std::vector<LanguageListModel>> languages) {
    notice.setOffered(std::move(languages));
    showNotices();
    if (--requests_ == 0 && std::exchange(startsThen_, false))
        startInterview();
}

void InterviewSettingViewController::showNotices() {
    spokenNotice_->setChosen(spokenLanguage());
    targetNotice_->setChosen(rightLangModel_);
    targetNotice_->setUsed(!isSingle());
    lelfLanguageLabel_->setMarked(spokenNotice_->isMissing());
    rightLanguageLabel_->setMarked(targetNotice_->isMissing());
}

void InterviewSettingViewController::takeInstead(const LanguageNotice& notice) {
    if (!notice.instead())
        return;
    source_ = &notice == spokenNotice_ ? spokenKind : targetKind;
    (source_ == spokenKind ? lelfLanguageLabel_ : rightLanguageLabel_)->setFocus(); // its button goes
    didSelectLanguage(*notice.instead());
}

void InterviewSettingViewController::showPersonalHint() {
    const bool position = !startAIModel_.positioname.trimmed().isEmpty();
    const auto user = settings_.userInfo();
    const bool resume = user && user->resume && !user->resume->resume_id.isEmpty();
    personal_->show(position, resume);
}

/// The start waits until it is known whether the interview will be understood.
void InterviewSettingViewController::startInterview() {
    if (requests_ > 0) {
        startsThen_ = true;
        return;
    }
    if (spokenNotice_->isMissing())
        askBeforeStart();
    else
        beginSession();
}

void InterviewSettingViewController::askBeforeStart() {
    CommonTipView* card = spokenNotice_->makeQuestion();
    connect(card->cancelButton(), &QPushButton::clicked, this, &InterviewSettingViewController::beginSession);
    if (spokenNotice_->instead()) {
        card->sureBlock = [this] {
            takeInstead(*spokenNotice_);
            beginSession();
        };
    }
    MYCenterPopView::show(card, window());
    card->sureButton()->setFocus();
}

void InterviewSettingViewController::beginSession() {
    consoleLog(QStringLiteral("开始面试"));
    soundStrip_->stop();
    AudioRouting& router = services_.router();
    if (startAIModel_.deviceType != 0) {
        router.setupSystemAudio();
    } else {
        MicroManagement::checkMicrophonePermission();
        router.switchInput(true);
    }
    SessionWindow* session = services_.makeSession(soundStrip_->sound());
    if (session == nullptr)
        return;
    session->setMainWindow(window());
    session->show();
    session->activateWindow();
    window()->hide();
}

} // namespace parlowen
