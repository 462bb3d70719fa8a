#include "PageWindow.h"

#include "TopBarView.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/NotificationCenter.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QCloseEvent>
#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr QSize usualSize(650, 470);
constexpr QSize smallestSize(480, 400);

QString backStyle() {
    return QStringLiteral(
               "QToolButton { color: %1; border: 1px solid transparent; border-radius: 6px; padding: 3px 8px; }"
               "QToolButton:hover { background: %2; } QToolButton:focus { border-color: %3; }")
        .arg(hexColor(theme::link).name(), hexColor(theme::secondary).name(), hexColor(theme::accent).name());
}

BaseViewController* makePage(int index, const PageContext& context) {
    const auto pages = allPages();
    const auto found = std::ranges::find(pages, index, &PageEntry::index);
    return found == pages.end() ? nullptr : found->make(context);
}

} // namespace

PageWindow::PageWindow(PageContext context)
    : context_(std::move(context))
    , topBar_(new TopBarView(context_.settings, context_.http, this))
    , backRow_(new QWidget(this))
    , back_(new QToolButton(backRow_))
    , pages_(new PageContainer([this](int index) { return makePage(index, context_); }, this))
    , notice_(new QWidget(this))
    , noticeText_(makeLabel(hexColor(theme::midGrey), false, 14, notice_))
    , retry_(makeCardButton({}, hexColor(theme::darkText), hexColor(theme::secondary), notice_)) {
    setWindowTitle(QStringLiteral("Parlowen"));
    setPalette(lightPalette(hexColor(theme::pageGround)));
    const QSize room = screen()->availableSize() * 0.9;
    setMinimumSize((smallestSize * fontScale()).boundedTo(room));
    resize((usualSize * fontScale()).boundedTo(room));
    build();
    sayTexts();
    for (QWidget* ground : {backRow_, notice_})
        ground->setAutoFillBackground(true);
    NotificationCenter::shared().observe(
        QStringLiteral("AiSettingNotification"), this, [this](const Notification& told) {
            if (const QJsonValue message = told.userInfo.value(QStringLiteral("message")); message.isString())
                openSettings(message.toString());
        });
}

void PageWindow::sayTexts() {
    back_->setText(tr("返回"));
    retry_->setText(tr("重试"));
}

void PageWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        sayTexts();
}

void PageWindow::build() {
    back_->setIcon(namedImage(QStringLiteral("back")));
    back_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    back_->setFont(systemFont(13));
    back_->setStyleSheet(backStyle());
    back_->setCursor(Qt::PointingHandCursor);
    back_->setFocusPolicy(Qt::StrongFocus);
    connect(back_, &QToolButton::clicked, this, [this] { show(first_); });
    auto* goBack = new QShortcut(QKeySequence::Back, this);
    connect(goBack, &QShortcut::activated, this, [this] {
        if (backRow_->isVisible())
            show(first_);
    });
    auto* backLayout = new QHBoxLayout(backRow_);
    backLayout->setContentsMargins(12, 6, 12, 0);
    backLayout->addWidget(back_);
    backLayout->addStretch();
    backRow_->hide();

    noticeText_->setAlignment(Qt::AlignCenter);
    auto* noticeLayout = new QVBoxLayout(notice_);
    noticeLayout->setContentsMargins(40, 20, 40, 20);
    noticeLayout->setSpacing(16);
    noticeLayout->addStretch();
    noticeLayout->addWidget(noticeText_);
    noticeLayout->addWidget(retry_, 0, Qt::AlignHCenter);
    noticeLayout->addStretch();
    connect(retry_, &QPushButton::clicked, this, [this] {
        if (const auto again = tryAgain_)
            again();
    });

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(topBar_);
    column->addWidget(backRow_);
    column->addWidget(pages_, 1);
    column->addWidget(notice_, 1);
    pages_->hide();
}

void PageWindow::say(const QString& text, const std::function<void()>& retry) {
    noticeText_->setText(text);
    tryAgain_ = retry;
    retry_->setVisible(retry != nullptr);
    notice_->show();
    backRow_->hide();
    pages_->hide();
}

void PageWindow::showPage(int index) {
    first_ = index;
    notice_->hide();
    pages_->show();
    show(index);
}

void PageWindow::show(int index) {
    backRow_->setVisible(index != first_);
    pages_->showPage(index);
}

void PageWindow::openSettings(const QString& message) {
    consoleLog(QStringLiteral("收到通知内容：") + message);
    if (pages_->currentVC() != nullptr)
        show(aiSettingsPage);
}

void PageWindow::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    Q_EMIT closed();
}

} // namespace parlowen
