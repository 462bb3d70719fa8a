#include "TopBarView.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/NotificationCenter.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <Page/View/InterviewTypeView.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/SystemFont.h>
#include <Tools/PopView/Windows.h>

#include <QBoxLayout>
#include <QEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <utility>

namespace parlowen {

namespace {

constexpr int barHeight = 50;
constexpr int logoSize = 32;
constexpr QSize cardSize(400, 430); // at the usual font scale
constexpr double cardRadius = 10;

QString switchStyle() {
    return QStringLiteral("QPushButton { background: white; color: %1; border: 1px solid %2; border-radius: 6px;"
                          " padding: 4px 12px; }"
                          "QPushButton:hover { background: %3; } QPushButton:pressed { background: %2; }"
                          "QPushButton:focus { border: 2px solid %4; padding: 3px 11px; }")
        .arg(hexColor(theme::darkText).name(), hexColor(theme::secondary).name(), hexColor(theme::topBar).name(),
             hexColor(theme::accent).name());
}

} // namespace

TopBarView::TopBarView(Settings& settings, HttpDatas& http, QWidget* parent)
    : QWidget(parent)
    , settings_(settings)
    , http_(http)
    , iconImageView(new QLabel(this))
    , titleLabel(makeLabel(palette::CSS::black(), false, 14, this))
    , subTitleLabel(makeLabel(hexColor(theme::midGrey), false, 12, this))
    , modeSwithButton_(new QPushButton(this)) {
    setPalette(lightPalette(hexColor(theme::topBar)));
    setMinimumHeight(inPoints(barHeight));
    buildTitles();
    buildSwitch();
    sayTexts();
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(16, 0, 16, 0);
    row->setSpacing(10);
    row->addWidget(iconImageView);
    auto* titleStack = new QVBoxLayout;
    titleStack->setSpacing(2);
    titleStack->addStretch();
    titleStack->addWidget(titleLabel);
    titleStack->addWidget(subTitleLabel);
    titleStack->addStretch();
    row->addLayout(titleStack, 1);
    row->addWidget(modeSwithButton_);
}

void TopBarView::buildTitles() {
    iconImageView->setPixmap(
        namedImage(QStringLiteral("logo")).pixmap(QSize(inPoints(logoSize), inPoints(logoSize)), devicePixelRatioF()));
    titleLabel->setFont(systemFont(14, QFont::DemiBold));
    titleLabel->setText(QStringLiteral("Parlowen"));
    for (QLabel* label : {titleLabel, subTitleLabel})
        label->setWordWrap(false);
}

void TopBarView::buildSwitch() {
    modeSwithButton_->setFont(systemFont(13));
    modeSwithButton_->setIconSize(QSize(1, 1) * modeSwithButton_->fontMetrics().height());
    modeSwithButton_->setIcon(namedImage(QStringLiteral("swith_mode")));
    modeSwithButton_->setStyleSheet(switchStyle());
    modeSwithButton_->setCursor(Qt::PointingHandCursor);
    modeSwithButton_->setAutoDefault(true);
    connect(modeSwithButton_, &QPushButton::clicked, this, &TopBarView::modeSwithButtonClicked);
}

void TopBarView::sayTexts() {
    subTitleLabel->setText(tr("你的面试翻译助手"));
    modeSwithButton_->setToolTip(tr("切换面试类型"));
    modeSwithButton_->setText(InterviewTypeView::buttonTitle(settings_.aiInterviewType()));
}

void TopBarView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::LanguageChange)
        return;
    delete std::exchange(interviewTypeView_, nullptr); // made anew when it is asked for
    sayTexts();
}

InterviewTypeView* TopBarView::interviewTypeView() {
    if (interviewTypeView_ == nullptr) {
        interviewTypeView_ = makeView<InterviewTypeView>(this);
        interviewTypeView_->hide();
        interviewTypeView_->setCornerRadius(cardRadius);
        interviewTypeView_->selectInterviewBlock = [this](qint64 type) { changeType(type); };
    }
    return interviewTypeView_;
}

void TopBarView::modeSwithButtonClicked() {
    consoleLog(QStringLiteral("📤 模型切换"));
    QWidget* container = keyWindowContent(this);
    InterviewTypeView* card = interviewTypeView();
    card->type = settings_.aiInterviewType();
    card->refresh();
    card->resize(cardSize * fontScale());
    MYCenterPopView::show(card, container);
}

void TopBarView::changeType(qint64 type) {
    http_.requestData(
        QStringLiteral("/user/change_user_type/%1").arg(type), HttpMethod::PUT, std::nullopt, std::nullopt, this,
        [this, type](FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>&) {
            if (status != FResponseStatus::success || !json)
                return;
            const auto reply = mapLenient<BaseNetModel>(json->rawString());
            if (reply && reply->message)
                typeAccepted(type, *reply->message);
        });
}

void TopBarView::typeAccepted(qint64 type, const QString& message) {
    ProgressHUD::shared().toast(message);
    settings_.setAiInterviewType(type);
    modeSwithButton_->setText(InterviewTypeView::buttonTitle(type));
    NotificationCenter::shared().post(QStringLiteral("InterviewTypeNotification"), this,
                                      {{QStringLiteral("type"), type}});
}

void TopBarView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), hexColor(theme::topBar));
    painter.setPen(hexColor(theme::secondary));
    painter.drawLine(rect().bottomLeft(), rect().bottomRight());
}

} // namespace parlowen

#include "moc_TopBarView.cpp"
