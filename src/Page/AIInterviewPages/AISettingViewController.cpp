#include "AISettingViewController.h"

#include "ResumeFlow.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/NotificationCenter.h>
#include <Network/Settings.h>
#include <Page/View/CardButton.h>
#include <Page/View/PositionView.h>
#include <Page/View/SettingFields.h>
#include <Page/View/UpdateResumeView.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/ElidedLabel.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>

#include <QBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>

namespace parlowen {

namespace {

constexpr int pageGap = 16;
constexpr int captionGap = 14;    // above a caption
constexpr int readingWidth = 560; // of the longest line of text
constexpr int smallestFont = 14;
constexpr int largestFont = 24;
constexpr int fontStep = 2;
constexpr double fallbackFont = 16; // and the preview's, until a size is chosen
constexpr QSize previewSize(200, 48);
constexpr QSize fontButtonSize(64, 42);
constexpr int narrowestFontButton = 40;
constexpr int pictureWidth = 100; // what the position's card shows at its right

QLabel* makeCaption(const QString& text, int size, QWidget* parent) {
    auto* label = new ElidedLabel(parent);
    label->setFont(systemFont(size));
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    label->setText(text);
    return label;
}

QHBoxLayout* makeOptionRow(const std::vector<CustomButtonView*>& buttons) {
    auto* row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(pageGap);
    for (CustomButtonView* button : buttons)
        row->addWidget(button);
    row->addStretch();
    return row;
}

} // namespace

AISettingViewController::AISettingViewController(Settings& settings, HttpDatas& http, QWidget* parent)
    : BaseViewController(parent)
    , settings_(settings)
    , http_(http)
    , content_(new QWidget)
    , positionView_(makeView<PositionView>(this)) {
    positionView_->hide();
    positionView_->resize(positionView_->sizeHint());
}

AISettingViewController::~AISettingViewController() = default;

void AISettingViewController::viewDidLoad() {
    startAIModel_ = settings_.aiInterviewSetModel();
    BaseViewController::viewDidLoad();
    NotificationCenter::shared().observe(audioInputChoice(), this, [this](const Notification& told) {
        chooseDevice(told.userInfo.value(QStringLiteral("deviceType")).toInt());
    });
    showPreview(fallbackFont);
    showWhatIsMissing();
}

void AISettingViewController::buildUserInterface() {
    buildRoleCard();
    buildResumeCard();
    missingLab_ = makeLabel(hexColor(theme::midGrey), false, 13, content_);
    missingLab_->setMaximumWidth(inPoints(readingWidth));
    deviceLab = makeCaption(tr("音频输入设备"), 16, content_);
    setFontLab = makeCaption(tr("字体大小"), 16, content_);
    fontShowLab_ = new CustomBacTextField(content_);
    fontShowLab_->setFixedSize(previewSize * fontScale());
    fontShowLab_->setBackgroundColor(hexColor(theme::accent));
    fontShowLab_->setCornerRadius(8);
    fontShowLab_->textField()->setText(QStringLiteral("Hi,Parlowen"));
    fontShowLab_->textField()->setAlignment(Qt::AlignCenter);
    QPalette white = fontShowLab_->textField()->palette();
    white.setColor(QPalette::WindowText, Qt::white);
    fontShowLab_->textField()->setPalette(white);

    const std::optional<qint64> device = startAIModel_ ? std::optional(startAIModel_->deviceType) : std::nullopt;
    deviceSelectionGroup =
        makeGroup({tr("麦克风声音"), tr("系统声音")}, device, deviceButtons_, &AISettingViewController::deviceChosen);
    QStringList sizes;
    for (int size = smallestFont; size <= largestFont; size += fontStep)
        sizes << QString::number(size);
    const qint64 font = startAIModel_ ? (startAIModel_->answerFontSize - smallestFont) / fontStep : 0;
    fontSelectionGroup = makeGroup(sizes, font, fontButtons_, &AISettingViewController::fontChosen);
    for (QWidget* button : deviceButtons_)
        button->setAccessibleDescription(deviceLab->text());
    for (QWidget* button : fontButtons_)
        button->setAccessibleDescription(setFontLab->text());
}

void AISettingViewController::buildRoleCard() {
    roleImgV_ = new CardButton(QStringLiteral("start_icon"), content_);
    connect(roleImgV_, &CardButton::clicked, this, &AISettingViewController::imageClicked);
    titleLab = makeCaption(tr("岗位及角色"), 15, roleImgV_);
    positionLab_ = makeLabel(hexColor(theme::midGrey), false, 13, roleImgV_);
    positionLab_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    auto* layout = new QVBoxLayout(roleImgV_);
    layout->setContentsMargins(pageGap, 12, inPoints(pictureWidth), 10);
    layout->setSpacing(4);
    layout->addWidget(titleLab);
    layout->addWidget(positionLab_, 1);
    for (QLabel* label : {titleLab, positionLab_})
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
    positionLab_->setForegroundRole(QPalette::WindowText); // not the button's
}

void AISettingViewController::buildResumeCard() {
    updateResumeView_ = makeView<UpdateResumeView>(content_);
    resumeFlow_ = std::make_unique<ResumeFlow>(http_, settings_, *updateResumeView_);
    resumeFlow_->onBound = [this] { showWhatIsMissing(); };
    updateResumeView_->updateBlock = [page = QPointer(this)] {
        if (page)
            page->uploadResume();
    };
}

std::shared_ptr<ExclusiveSelectionGroup> AISettingViewController::makeGroup(const QStringList& titles,
                                                                            std::optional<qint64> selected,
                                                                            std::vector<CustomButtonView*>& buttons,
                                                                            Chosen handler) {
    auto group = std::make_shared<ExclusiveSelectionGroup>();
    group->initiallySelectedIndex = selected;
    auto* const row = new QWidget(content_);
    for (const QString& title : titles) {
        auto* button = new CustomButtonView(row);
        button->setTitle(title);
        button->setImage(namedImage(QStringLiteral("ai_select")));
        buttons.push_back(button);
    }
    group->attach(buttons);
    group->seletRowTapAction = [this, handler](const QString& title) { (this->*handler)(title); };
    return group;
}

void AISettingViewController::buildLayout() {
    auto* column = new QVBoxLayout(content_);
    column->setContentsMargins(pageGap, pageGap, pageGap, pageGap);
    column->setSpacing(0);
    column->addWidget(roleImgV_, 0, Qt::AlignLeft);
    column->addSpacing(pageGap);
    column->addWidget(updateResumeView_, 0, Qt::AlignLeft);
    column->addSpacing(8);
    column->addWidget(missingLab_);
    for (CustomButtonView* button : deviceButtons_)
        button->setFixedSize(button->sizeHint());
    for (CustomButtonView* button : fontButtons_) {
        button->setFixedHeight(inPoints(fontButtonSize.height()));
        button->setMinimumWidth(inPoints(narrowestFontButton));
        button->setMaximumWidth(inPoints(fontButtonSize.width()));
    }
    for (const auto& [caption, buttons] : {std::pair(deviceLab, &deviceButtons_), {setFontLab, &fontButtons_}}) {
        column->addSpacing(captionGap);
        column->addWidget(caption);
        column->addSpacing(pageGap / 2);
        QWidget* const group = buttons->front()->parentWidget();
        group->setLayout(makeOptionRow(*buttons));
        column->addWidget(group);
    }
    column->addSpacing(pageGap);
    column->addWidget(fontShowLab_);
    column->addStretch();

    fillScrolling(*this, content_);
}

QString AISettingViewController::updateToken() const { return resumeFlow_ ? resumeFlow_->updateToken() : QString(); }

void AISettingViewController::uploadResume() { resumeFlow_->uploadResume(); }

void AISettingViewController::deviceChosen(const QString& title) {
    const qint64 device = title == deviceButtons_.front()->title() ? 0 : 1;
    consoleLog(QStringLiteral("选中了设备: ") + (device == 0 ? "麦克风声音" : "系统声音"));
    if (startAIModel_)
        startAIModel_->deviceType = device;
    store();
}

QString AISettingViewController::audioInputChoice() { return QStringLiteral("AudioInputNotification"); }

/// As a click on it does; it is said, too, to whom the page has just been opened.
void AISettingViewController::chooseDevice(int device) {
    CustomButtonView& button = *deviceButtons_.at(device == 0 ? 0 : 1);
    deviceSelectionGroup->select(button);
    ProgressHUD::shared().toast(tr("已改为%1").arg(button.title()));
}

void AISettingViewController::fontChosen(const QString& title) {
    consoleLog("选中了字体: " + title);
    bool isNumber = false;
    const double number = title.toDouble(&isNumber);
    const double size = isNumber ? number : fallbackFont;
    showPreview(size);
    if (startAIModel_)
        startAIModel_->answerFontSize = static_cast<qint64>(size);
    store();
}

void AISettingViewController::showPreview(double size) {
    fontShowLab_->textField()->setFont(systemFont(static_cast<int>(size)));
}

void AISettingViewController::imageClicked() {
    consoleLog("Image was clicked!");
    MYCenterPopView::show(positionView_, keyWindowContent(this));
    positionView_->setTextContent(startAIModel_ ? std::optional(startAIModel_->positioname) : std::nullopt);
    positionView_->roleTextView()->moveCursor(QTextCursor::End);
    positionView_->roleTextView()->setFocus(Qt::OtherFocusReason);
    positionView_->sureContent = [page = QPointer(this)](const QString& text) {
        if (page)
            page->positionWritten(text);
    };
}

void AISettingViewController::positionWritten(const QString& text) {
    if (startAIModel_)
        startAIModel_->positioname = text;
    store();
    showWhatIsMissing();
}

void AISettingViewController::store() { settings_.setAiInterviewSetModel(startAIModel_); }

/// The position and the résumé are what make answers the user's own.
void AISettingViewController::showWhatIsMissing() {
    const QString position = startAIModel_ ? startAIModel_->positioname.simplified() : QString();
    const int line = roleImgV_->sizeHint().width() - pageGap - inPoints(pictureWidth);
    const int room = 2 * line - positionLab_->fontMetrics().height(); // two lines, less a break
    positionLab_->setText(position.isEmpty() ? tr("点击填写目标岗位和你的角色")
                                             : positionLab_->fontMetrics().elidedText(position, Qt::ElideRight, room));
    roleImgV_->setAccessibleName(titleLab->text());
    roleImgV_->setAccessibleDescription(positionLab_->text());
    QStringList missing;
    if (position.isEmpty())
        missing << tr("填写岗位");
    if (!resumeFlow_->holdsResume())
        missing << tr("上传简历");
    missingLab_->setVisible(!missing.isEmpty());
    missingLab_->setText(tr("还没有%1，回答只能是通用的").arg(missing.join(tr("，也没有"))));
    if (!startAIModel_)
        missingLab_->setText(tr("还没有面试设置，这里的选择不会保存：请先打开一次 AI面试 页。"));
}

} // namespace parlowen

#include "moc_AISettingViewController.cpp"
