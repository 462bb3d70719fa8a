#include "MineViewController.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>
#include <Network/HttpDatas.h>
#include <Network/Profile.h>
#include <Network/Settings.h>
#include <Page/View/ContactView.h>
#include <Page/View/SettingFields.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>

#include <QBoxLayout>
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>

namespace parlowen {

namespace {

constexpr double signOutDelaySeconds = 0.25;
constexpr QSize logoffTipSize(300, 160);
constexpr int avatarSide = 72;
constexpr int recordHeight = 52;
constexpr int recordIconSide = 24;
constexpr int recordInset = 18;
constexpr int minePageWidth = 560;
constexpr double mineRadius = 12;

QString contactTitle() { return MineViewController::tr("联系客服"); }
QString logoffTitle() { return MineViewController::tr("账号注销"); }

/// A white card with rounded corners.
class Card : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(hexColor(theme::secondary));
        painter.setBrush(Qt::white);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), mineRadius, mineRadius);
    }
};

} // namespace

RecordButton::RecordButton(const QString& title, const QString& image, QWidget* parent)
    : KeyFocusButton(parent) {
    setText(title);
    setAccessibleName(title);
    setIcon(namedImage(image));
    setFont(systemFont(14));
}

QSize RecordButton::sizeHint() const { return {inPoints(240), inPoints(recordHeight)}; }

void RecordButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (hasFocus() || underMouse() || isDown()) {
        painter.setPen(hasFocus() ? QPen(hexColor(theme::link), 1.5) : QPen(Qt::NoPen));
        painter.setBrush(isDown() ? hexColor(theme::secondary) : hexColor(theme::topBar));
        painter.drawRoundedRect(QRectF(rect()).adjusted(4, 4, -4, -4), mineRadius - 4, mineRadius - 4);
    }
    const int icon = inPoints(recordIconSide);
    const int inset = inPoints(recordInset);
    KeyFocusButton::icon().paint(&painter, inset, (height() - icon) / 2, icon, icon);
    const QRect room = rect().adjusted(inset + icon + 10, 0, -inset, 0);
    const QString view = tr("查看");
    const int left = room.width() - fontMetrics().horizontalAdvance(view) - 10;
    painter.setPen(hexColor(theme::darkText));
    painter.drawText(room, Qt::AlignVCenter | Qt::AlignLeft, fontMetrics().elidedText(text(), Qt::ElideRight, left));
    painter.setPen(hexColor(theme::midGrey));
    painter.drawText(room, Qt::AlignVCenter | Qt::AlignRight, view);
}

MineViewController::MineViewController(HttpDatas& http, Settings& settings, ImageLoader& images, QWidget* parent)
    : BaseViewController(parent)
    , http_(http)
    , settings_(settings)
    , images_(images)
    , logoffTipView_(new CommonTipView(this)) {
    logoffTipView_->hide();
    logoffTipView_->configure(tr("温馨提示"),
                              tr("注销后您的身份、账户信息、钱包余额及优惠卷、订单信息都将会被清空且无法找回"),
                              tr("取消"), tr("注销"));
    const QSize usual = logoffTipSize * fontScale();
    logoffTipView_->resize(usual.expandedTo({0, logoffTipView_->heightForWidth(usual.width())}));
    logoffTipView_->warn();
}

void MineViewController::viewDidLoad() {
    BaseViewController::viewDidLoad();
    NotificationCenter::shared().observe(
        QStringLiteral("InterviewTypeNotification"), this, [this](const Notification& notification) {
            const QJsonValue type = notification.userInfo.value(QStringLiteral("type"));
            if (!type.isDouble())
                return;
            consoleLog(QStringLiteral("收到通知内容：%1").arg(type.toInteger()));
            refresh();
        });
    if (const std::optional<UserBaseModel> stored = settings_.userInfo())
        display(*stored);
    refresh();
}

void MineViewController::buildUserInterface() {
    auto* column = new QVBoxLayout;
    column->setSpacing(inPoints(14));
    column->addWidget(buildHeader());
    column->addWidget(buildRecords());
    column->addStretch(1);
    auto* content = new QWidget;
    auto* middle = new QWidget(content);
    middle->setLayout(column);
    middle->setMaximumWidth(inPoints(minePageWidth));
    column->setContentsMargins(0, 0, 0, 0);
    auto* page = new QHBoxLayout(content);
    const int margin = inPoints(24);
    page->setContentsMargins(margin, margin, margin, margin);
    page->addStretch(1);
    page->addWidget(middle, 1000);
    page->addStretch(1);
    fillScrolling(*this, content);
}

QWidget* MineViewController::buildHeader() {
    auto* card = new Card(this);
    avatarImageView_ = new QLabel(card);
    const QSize side = QSize(avatarSide, avatarSide) * fontScale();
    avatarImageView_->setPixmap(namedImage(QStringLiteral("logo")).pixmap(side, devicePixelRatioF()));
    phoneLabel_ = makeLabel(hexColor(theme::darkText), true, 18, card);
    idLabel_ = makeLabel(hexColor(theme::midGrey), false, 13, card);
    idLabel_->setText(QStringLiteral("ID: "));
    idLabel_->setWordWrap(false);
    for (QLabel* label : {phoneLabel_, idLabel_})
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    copyButton_ = makeButton(
        tr("复制"), hexColor(theme::link), hexColor(theme::secondary), [this] { copyTap(); }, 6, 12, card);
    copyButton_->setAutoDefault(true);
    copyButton_->setAccessibleDescription(tr("复制 ID"));

    auto* identity = new QHBoxLayout;
    identity->setSpacing(inPoints(10));
    identity->addWidget(idLabel_);
    identity->addWidget(copyButton_);
    identity->addStretch();
    auto* texts = new QVBoxLayout;
    texts->setSpacing(inPoints(6));
    texts->addStretch();
    texts->addWidget(phoneLabel_);
    texts->addLayout(identity);
    texts->addStretch();
    auto* row = new QHBoxLayout(card);
    const int margin = inPoints(recordInset);
    row->setContentsMargins(margin, margin, margin, margin);
    row->setSpacing(inPoints(16));
    row->addWidget(avatarImageView_);
    row->addLayout(texts, 1);
    return card;
}

QWidget* MineViewController::buildRecords() {
    auto* card = new Card(this);
    auto* column = new QVBoxLayout(card);
    column->setContentsMargins(0, 2, 0, 2);
    column->setSpacing(0);
    for (const QString& title : {contactTitle(), logoffTitle()}) {
        auto* button = new RecordButton(title, QStringLiteral("start_font_length"), card);
        connect(button, &RecordButton::clicked, this, [this, title] { recordButtonTapped(title); });
        column->addWidget(button);
        recordButtons_.push_back(button);
    }
    return card;
}

void MineViewController::display(const UserBaseModel& user) {
    userModel_ = user;
    phoneLabel_->setText(user.phone);
    idLabel_->setText(QStringLiteral("ID:") + user.user_code);
}

void MineViewController::refresh() {
    refreshProfile(http_, settings_, this, [this](const UserBaseModel& user) { display(user); });
}

void MineViewController::copyTap() {
    QGuiApplication::clipboard()->setText(userModel_ ? userModel_->user_code : QString());
    ProgressHUD::shared().toast(tr("已复制到剪切板"));
}

void MineViewController::recordButtonTapped(const QString& title) {
    if (title == contactTitle()) {
        ContactView::present(http_, images_);
        return;
    }
    QWidget* content = keyWindowContent();
    if (content == nullptr)
        return;
    MYCenterPopView::show(logoffTipView_, content);
    logoffTipView_->cancelButton()->setFocus(Qt::OtherFocusReason);
    logoffTipView_->sureBlock = [self = QPointer<MineViewController>(this)] {
        if (self)
            self->deleteAccount();
    };
}

void MineViewController::deleteAccount() {
    const auto signOut = [&settings = settings_, signedOut = onSignedOut] {
        settings.clearSignIn();
        if (signedOut)
            signedOut();
    };
    ProgressHUD::shared().show(tr("正在注销..."), ProgressHUDMode::indeterminate);
    const QPointer<HttpDatas> http(&http_); // the account is gone whether or not this page is still there
    http_.requestData(
        QStringLiteral("/user/logoff"), HttpMethod::POST, std::nullopt, std::nullopt,
        [http, signOut](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
            if (status != FResponseStatus::success || !json)
                return ProgressHUD::shared().hide(true);
            const QString message = (*json)["message"].stringValue();
            ProgressHUD::shared().toast(message);
            afterDelay(signOutDelaySeconds, http, [signOut, message] {
                signOut();
                ProgressHUD::shared().toast(message); // in the window that comes now, for long enough to be read
            });
        });
}

} // namespace parlowen

#include "moc_MineViewController.cpp"
