#include "InterviewSettingViewController.h"

#include "AISettingViewController.h"
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
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>

#include <QBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>
#include <utility>

namespace parlowen {

namespace {

constexpr int gearSize = 24;
constexpr int gearMargin = 10;
constexpr int mostWaitMilliseconds = 2'000; // of a start, for the lists of languages

const LanguageListModel builtInChinese{128, QStringLiteral("中文（简体）"), QStringLiteral("zh-CN"),
                                       QStringLiteral("zh-Hans"), QStringLiteral("Z")};
const LanguageListModel builtInEnglish{135, QStringLiteral("英语（美国）"), QStringLiteral("en-US"),
                                       QStringLiteral("en"), QStringLiteral("Y")};

} // namespace

InterviewSettingViewController::InterviewSettingViewController(SetupServices services, QWidget* parent)
    : BaseViewController(parent)
    , services_(std::move(services))
    , settings_(*services_.settings)
    , aiInterviewType(settings_.aiInterviewType())
    , form_(new SetupForm(settings_, services_.capture, this))
    , popover_(new Popover(this)) {}

AIInterviewModel InterviewSettingViewController::storedModel(Settings& settings) {
    if (auto stored = settings.aiInterviewSetModel())
        return *std::move(stored);
    const AIInterviewModel first;
    settings.setAiInterviewSetModel(first);
    return first;
}

void InterviewSettingViewController::viewDidLoad() {
    BaseViewController::viewDidLoad();
    loadStored();
    NotificationCenter::shared().observe(QStringLiteral("InterviewTypeNotification"), this,
                                         [this](const Notification& told) { handleMyNotification(told); });
}

void InterviewSettingViewController::buildUserInterface() {
    for (PopUpButton* popup : {stylePopup(), modePopup()})
        connect(popup, &QComboBox::activated, this, [this, popup] { popupSelectionChanged(popup); });
    for (ChoiceBox* box : {lelfLanguageLabel(), rightLanguageLabel()})
        connect(box, &QAbstractButton::clicked, this, [this, box] { languagePopupClicked(box); });
    for (const LanguageNotice* notice : {form_->spokenNotice(), form_->targetNotice()})
        connect(notice, &LanguageNotice::insteadTaken, this, [this, notice] { takeInstead(*notice); });
    connect(startButton(), &QPushButton::clicked, this, &InterviewSettingViewController::startInterview);
    form_->rehearseButton()->setVisible(static_cast<bool>(services_.rehearse));
    if (services_.rehearse)
        connect(form_->rehearseButton(), &QPushButton::clicked, this, services_.rehearse);
    connect(form_->sourceLink(), &QPushButton::clicked, this, &InterviewSettingViewController::hearTheOther);
    connect(form_->personalNotice()->settingsButton(), &QPushButton::clicked, this,
            &InterviewSettingViewController::openSettings);

    settingsButton_ = new QToolButton(this);
    settingsButton_->setIcon(namedImage(QStringLiteral("action")));
    settingsButton_->setIconSize({inPoints(gearSize), inPoints(gearSize)});
    settingsButton_->setStyleSheet(QStringLiteral("QToolButton { border: none; border-radius: 6px; }"
                                                  "QToolButton:hover { background: %1; }"
                                                  "QToolButton:focus { border: 1px solid %2; }")
                                       .arg(hexColor(theme::secondary).name(), hexColor(theme::accent).name()));
    settingsButton_->setCursor(Qt::PointingHandCursor);
    settingsButton_->setFocusPolicy(Qt::TabFocus);
    settingsButton_->setToolTip(tr("面试设置"));
    settingsButton_->setAccessibleName(settingsButton_->toolTip());
    connect(settingsButton_, &QToolButton::clicked, this, &InterviewSettingViewController::openSettings);
}

void InterviewSettingViewController::buildLayout() {
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(form_);
    settingsButton_->raise();
}

void InterviewSettingViewController::resizeEvent(QResizeEvent* event) {
    BaseViewController::resizeEvent(event);
    if (settingsButton_ == nullptr)
        return;
    const int side = inPoints(gearSize);
    settingsButton_->setGeometry(width() - gearMargin - side, gearMargin, side, side);
}

void InterviewSettingViewController::loadStored() {
    if (!settings_.aiLangChinaModel())
        settings_.setAiLangChinaModel(builtInChinese);
    lelfLangModel = settings_.aiLangLeftModel();
    if (!lelfLangModel) {
        lelfLangModel = builtInChinese;
        settings_.setAiLangLeftModel(lelfLangModel);
    }
    rightLangModel = settings_.aiLangRightModel();
    if (!rightLangModel) {
        rightLangModel = builtInEnglish;
        settings_.setAiLangRightModel(rightLangModel);
    }
    startAIModel_ = storedModel(settings_);
    showModel();
    soundStrip()->setSystem(startAIModel_.deviceType != 0);
    applyInterviewType();
}

void InterviewSettingViewController::showModel() {
    stylePopup()->setCurrentIndex(static_cast<int>(startAIModel_.generateAnswerType));
    modePopup()->setCurrentIndex(static_cast<int>(startAIModel_.antoAnswerType));
}

void InterviewSettingViewController::applyInterviewType() {
    if (isSingle())
        chinaLangModel = settings_.aiLangChinaModel();
    else
        lelfLangModel = settings_.aiLangLeftModel();
    showLanguages();
}

void InterviewSettingViewController::showLanguages() {
    form_->showLanguages(spokenLanguage(), rightLangModel, !isSingle());
}

void InterviewSettingViewController::viewDidAppear() {
    // A session that is over may have changed them.
    const auto stored = settings_.aiInterviewSetModel();
    if (stored)
        startAIModel_ = *stored;
    showModel();
    form_->showSource(!stored || stored->deviceType != 0);
    showPersonalHint();
    refreshProfile(*services_.http, settings_, this, [this](const UserBaseModel&) { showPersonalHint(); });
    requestOffered();
}

void InterviewSettingViewController::handleMyNotification(const Notification& notification) {
    const QJsonValue type = notification.userInfo.value(QStringLiteral("type"));
    if (!type.isDouble())
        return;
    consoleLog(QStringLiteral("收到通知内容：%1").arg(type.toInteger()));
    aiInterviewType = settings_.aiInterviewType();
    applyInterviewType();
}

void InterviewSettingViewController::popupSelectionChanged(PopUpButton* sender) {
    const qint64 value = sender->currentIndex() == 0 ? 0 : 1;
    if (sender == modePopup()) {
        consoleLog(QStringLiteral("回答模式选择：") + (value == 0 ? "自动回答" : "手动回答"));
        startAIModel_.antoAnswerType = value;
    } else {
        consoleLog(QStringLiteral("回答风格选择：") + (value == 0 ? "极简风格" : "详细风格"));
        startAIModel_.generateAnswerType = value;
    }
    settings_.setAiInterviewSetModel(startAIModel_);
}

void InterviewSettingViewController::languagePopupClicked(ChoiceBox* box) {
    source = box->tag;
    auto* picker = new LanguageListViewController(*services_.http);
    picker->source = source;
    picker->setDelegate(this);
    popover_->setContentView(picker);
    popover_->show(box, Popover::Edge::below);
}

void InterviewSettingViewController::didSelectLanguage(LanguageListModel language) {
    if (source != SetupForm::spokenTag) {
        rightLangModel = language;
        settings_.setAiLangRightModel(language);
    } else if (isSingle()) {
        chinaLangModel = language;
        settings_.setAiLangChinaModel(language);
    } else {
        lelfLangModel = language;
        settings_.setAiLangLeftModel(language);
    }
    popover_->close();
    showLanguages();
}

void InterviewSettingViewController::openSettings() {
    consoleLog(QStringLiteral("打开设置"));
    NotificationCenter::shared().post(QStringLiteral("AiSettingNotification"), this,
                                      {{QStringLiteral("message"), QStringLiteral("打开设置")}});
}

void InterviewSettingViewController::hearTheOther() {
    const int other = startAIModel_.deviceType == 0 ? 1 : 0;
    openSettings();
    NotificationCenter::shared().post(AISettingViewController::audioInputChoice(), this,
                                      {{QStringLiteral("deviceType"), other}});
}

void InterviewSettingViewController::requestOffered() {
    for (LanguageNotice* notice : {form_->spokenNotice(), form_->targetNotice()}) {
        ++requests_;
        requestLanguages(*services_.http, notice == form_->spokenNotice() ? SetupForm::spokenTag : SetupForm::targetTag,
                         this, [this, notice](const auto& languages) { receiveOffered(*notice, languages); });
    }
}

void InterviewSettingViewController::receiveOffered(LanguageNotice& notice,
                                                    std::optional<std::vector<LanguageListModel>> languages) {
    notice.setOffered(std::move(languages));
    showLanguages();
    if (--requests_ == 0 && std::exchange(startsThen_, false))
        startWhenKnown();
}

void InterviewSettingViewController::takeInstead(const LanguageNotice& notice) {
    if (!notice.instead())
        return;
    const bool spoken = &notice == form_->spokenNotice();
    source = spoken ? SetupForm::spokenTag : SetupForm::targetTag;
    (spoken ? lelfLanguageLabel() : rightLanguageLabel())->setFocus(); // its button goes
    didSelectLanguage(*notice.instead());
}

void InterviewSettingViewController::showPersonalHint() {
    const bool position = !startAIModel_.positioname.trimmed().isEmpty();
    form_->personalNotice()->show(position, !heldResume(settings_).isEmpty());
}

/// The start waits until it is known whether the interview will be understood.
void InterviewSettingViewController::startInterview() {
    if (isStarting() || (services_.mayStart && !services_.mayStart()))
        return;
    consoleLog(QStringLiteral("开始面试"));
    startWhenKnown();
}

/// Whether a start waits, or asks something.
bool InterviewSettingViewController::isStarting() const {
    return startsThen_ || (question_ && !question_->isDismissing());
}

void InterviewSettingViewController::startWhenKnown() {
    startsThen_ = requests_ > 0;
    form_->showWaiting(startsThen_);
    if (!startsThen_) {
        startAsked();
        return;
    }
    // Somebody may be late for a call: what is not known by then is not asked about.
    QTimer::singleShot(mostWaitMilliseconds, this, [this] {
        if (!std::exchange(startsThen_, false))
            return;
        form_->showWaiting(false);
        startAsked();
    });
}

void InterviewSettingViewController::startAsked() {
    if (form_->spokenNotice()->isMissing() || form_->targetNotice()->isMissing())
        askAboutLanguages();
    else
        startHeard();
}

void InterviewSettingViewController::askAboutLanguages() {
    const LanguageNotice& spoken = *form_->spokenNotice();
    const LanguageNotice& target = *form_->targetNotice();
    ask(
        LanguageNotice::makeQuestion(spoken, target), [this] { startHeard(); },
        [this] {
            takeInstead(*form_->spokenNotice());
            takeInstead(*form_->targetNotice());
            if (!form_->spokenNotice()->isMissing() && !form_->targetNotice()->isMissing())
                startHeard();
        });
}

/// Begins where something can be heard, and asks before where nothing can.
void InterviewSettingViewController::startHeard() {
    if (!soundStrip()->isDeaf()) {
        beginSession();
        return;
    }
    ask(
        soundStrip()->makeQuestion(), [this] { beginSession(); },
        [this] {
            if (startAIModel_.deviceType != 0)
                soundStrip()->runCheck();
            else
                hearTheOther();
        });
}

void InterviewSettingViewController::ask(CommonTipView* card, const std::function<void()>& startsAnyway,
                                         const std::function<void()>& remedy) {
    connect(card->cancelButton(), &QPushButton::clicked, this, startsAnyway);
    card->sureBlock = [page = QPointer(this), remedy] {
        if (page)
            remedy();
    };
    question_ = MYCenterPopView::show(card, keyWindowContent(this));
    connect(this, &QObject::destroyed, question_, &PopView::dismiss);
    card->sureButton()->setFocus();
}

void InterviewSettingViewController::beginSession() {
    if (services_.mayStart && !services_.mayStart())
        return;
    soundStrip()->stop();
    AudioRouting& router = services_.router();
    if (startAIModel_.deviceType != 0) {
        router.setupSystemAudio();
    } else {
        MicroManagement::checkMicrophonePermission();
        router.switchInput(true);
    }
    SessionWindow* session = services_.makeSession(soundStrip()->sound());
    if (session == nullptr)
        return;
    session->setMainWindow(window());
    session->show();
    session->activateWindow();
    window()->hide();
}

} // namespace parlowen

#include "moc_InterviewSettingViewController.cpp"
