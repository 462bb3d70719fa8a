#include "ViewController.h"

#include "HomeLeftView.h"
#include "TopBarView.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Foundation/NotificationCenter.h>
#include <Login/LoginViewController.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QEvent>
#include <QMenu>
#include <QPainter>
#include <QSplitter>
#include <QToolButton>
#include <utility>

namespace parlowen {

namespace {

constexpr int narrowWindow = 500; // at the usual font scale: a sidebar of words would take half of it
constexpr int menuIcon = 16;
constexpr double signOutDelay = 0.25;

QString menuButtonStyle() {
    return QStringLiteral("QToolButton { border: 1px solid transparent; border-radius: 6px; padding: 4px; }"
                          "QToolButton:hover, QToolButton:open { background: %1; }"
                          "QToolButton:focus { border-color: %2; } QToolButton::menu-indicator { image: none; }")
        .arg(hexColor(theme::secondary).name(), hexColor(theme::accent).name());
}

} // namespace

SidebarViewController::SidebarViewController(QWidget* parent)
    : QWidget(parent) {
    setPalette(lightPalette(hexColor(theme::topBar)));
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(leftView());
    leftView()->didSelectItem = [self = QPointer(this)](int index) {
        if (!self)
            return;
        consoleLog(QStringLiteral("选中了 %1").arg(index));
        self->select(index);
    };
    NotificationCenter::shared().observe(
        QStringLiteral("AiSettingNotification"), this, [this](const Notification& told) {
            if (const QJsonValue message = told.userInfo.value(QStringLiteral("message")); message.isString())
                handleMyNotification1(message.toString());
        });
}

HomeLeftView* SidebarViewController::leftView() {
    if (leftView_ == nullptr)
        leftView_ = new HomeLeftView(this);
    return leftView_;
}

void SidebarViewController::select(int index) {
    leftView()->selectIndex = index;
    leftView()->refresh();
    if (delegate != nullptr)
        delegate->showPage(index);
}

void SidebarViewController::handleMyNotification1(const QString& message) {
    consoleLog(QStringLiteral("收到通知内容：") + message);
    select(aiSettingsPage);
}

void SidebarViewController::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), hexColor(theme::topBar));
    painter.setPen(hexColor(theme::secondary));
    painter.drawLine(rect().topRight(), rect().bottomRight());
}

ContentContainerViewController::ContentContainerViewController(PageContext context, QWidget* parent)
    : PageContainer([this](int index) { return makePage(index, context_); }, parent)
    , context_(std::move(context)) {
    showPage(setupPage);
}

void ContentContainerViewController::showPage(int index) {
    if (index == signOutPage)
        signOut();
    else
        PageContainer::showPage(index);
}

// The backend is told, but whatever it says nobody stays signed in here.
void ContentContainerViewController::signOut() {
    if (std::exchange(isSigningOut_, true))
        return; // a second request would be told that nobody is signed in
    const auto tail = [self = QPointer(this), &settings = context_.settings, signedOut = context_.signedOut] {
        if (self)
            self->isSigningOut_ = false;
        consoleLog(QStringLiteral("======="));
        settings.clearSignIn();
        if (signedOut)
            signedOut();
    };
    const QPointer<HttpDatas> http(&context_.http); // the window may have gone by then
    context_.http.requestData(QStringLiteral("/user/logout"), HttpMethod::POST, std::nullopt, std::nullopt,
                              [http, tail](FResponseStatus, const std::optional<JSON>&, const std::optional<QString>&) {
                                  ProgressHUD::shared().toast(tr("账号已退出登录"));
                                  afterDelay(signOutDelay, http, tail);
                              });
}

ViewController::ViewController(const PageContext& context, QWidget* parent)
    : QWidget(parent)
    , topBar_(new TopBarView(context.settings, context.http, this))
    , split_(new QSplitter(Qt::Horizontal, this))
    , menuButton_(new QToolButton(topBar_)) {
    setPalette(lightPalette(hexColor(theme::pageGround)));
    split_->setHandleWidth(0);
    split_->setChildrenCollapsible(false);
    sidebar_ = new SidebarViewController(split_);
    content_ = new ContentContainerViewController(context, split_);
    sidebar_->delegate = content_;
    split_->setStretchFactor(1, 1);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->setSpacing(0);
    buildMenuButton();
    whole->addWidget(topBar_);
    whole->addWidget(split_, 1);
}

void ViewController::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    HomeLeftView& column = *sidebar_->leftView();
    column.setCompact(width() < inPoints(narrowWindow));
    sidebar_->setFixedWidth(column.columnWidth());
    split_->setSizes({column.columnWidth(), width() - column.columnWidth()});
}

void ViewController::buildMenuButton() {
    menuButton_->setIconSize({inPoints(menuIcon), inPoints(menuIcon)});
    menuButton_->setIcon(namedImage(QStringLiteral("menu")));
    menuButton_->setFocusPolicy(Qt::StrongFocus);
    menuButton_->setCursor(Qt::PointingHandCursor);
    menuButton_->setPopupMode(QToolButton::InstantPopup);
    menuButton_->setStyleSheet(menuButtonStyle());
    menuButton_->hide();
    topBar_->layout()->addWidget(menuButton_);
    sayTexts();
}

void ViewController::sayTexts() {
    menuButton_->setToolTip(tr("菜单"));
    menuButton_->setAccessibleName(menuButton_->toolTip());
}

void ViewController::setMenu(QMenu* menu) {
    menuButton_->setMenu(menu);
    menuButton_->show();
}

void ViewController::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::LanguageChange)
        return;
    sayTexts();
    if (!window()->windowTitle().isEmpty()) // as the sign-in left it
        window()->setWindowTitle(LoginViewController::mainTitle());
}

} // namespace parlowen

#include "moc_ViewController.cpp"
