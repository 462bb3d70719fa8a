#include "LoginForm.h"

#include "LoginBrand.h"

#include <Page/View/LanguageSwitch.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/StyleSheets.h>
#include <Tools/PopView/SystemFont.h>

#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolButton>
#include <algorithm>

namespace parlowen {

namespace {

constexpr int boxHeight = 40;
constexpr double boxRadius = 9;
constexpr int loginButtonHeight = 42;
constexpr int localButtonHeight = 36;
constexpr int iconSide = 18;
constexpr int columnWidth = 320;
constexpr int columnMargin = 26;
constexpr int brandWidth = 178;
constexpr double brandShare = 0.36;
constexpr int brandWidest = 420;

QLabel* makeIcon(const QString& name, QWidget* parent) {
    auto* icon = new QLabel(parent);
    icon->setPixmap(
        namedImage(name).pixmap(QSize(inPoints(iconSide), inPoints(iconSide)), parent->devicePixelRatioF()));
    icon->setAttribute(Qt::WA_TransparentForMouseEvents);
    return icon;
}

} // namespace

FieldBox::FieldBox(const QString& icon, QWidget* parent)
    : QFrame(parent) {
    setFixedHeight(inPoints(boxHeight));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(inPoints(12), 0, inPoints(6), 0);
    row->setSpacing(inPoints(9));
    row->addWidget(makeIcon(icon, this));
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* before, QWidget* now) {
        if (isAncestorOf(before) || isAncestorOf(now))
            update();
    });
}

void FieldBox::paintEvent(QPaintEvent*) {
    const QWidget* focused = window()->isActiveWindow() ? window()->focusWidget() : nullptr;
    const bool isMarked = focused != nullptr && isAncestorOf(focused);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(hexColor(isMarked ? theme::link : 0xCBD5D5), isMarked ? 2 : 1));
    painter.setBrush(Qt::white);
    const double inset = isMarked ? 1 : 0.5;
    painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), boxRadius, boxRadius);
}

LoginForm::LoginForm(Settings& settings, bool hasLocalButton, QWidget* parent)
    : QWidget(parent)
    , brand_(new LoginBrand(this))
    , scroll_(new QScrollArea(this)) {
    auto* page = new QWidget;
    auto* column = new QVBoxLayout;
    column->setSpacing(0);
    buildHeading(*column, settings);
    buildArea(*column);
    column->addSpacing(inPoints(10));
    buildPhone(*column);
    column->addSpacing(inPoints(10));
    buildSecret(*column);
    column->addSpacing(inPoints(10));
    buildOptions(*column);
    column->addSpacing(inPoints(12));
    buildButtons(*column);
    if (hasLocalButton)
        buildLocalButton(*column);

    auto* middle = new QWidget(page);
    middle->setLayout(column);
    middle->setMaximumWidth(inPoints(columnWidth));
    auto* pageRow = new QHBoxLayout(page);
    pageRow->setContentsMargins(inPoints(columnMargin), inPoints(18), inPoints(columnMargin), inPoints(18));
    pageRow->addStretch(1);
    pageRow->addWidget(middle, 1000, Qt::AlignVCenter);
    pageRow->addStretch(1);
    scroll_->setWidget(page);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setFocusPolicy(Qt::NoFocus);
    scroll_->verticalScrollBar()->setStyleSheet(styleSheets::lightScrollBar());
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->viewport()->setAutoFillBackground(false);
    page->setAutoFillBackground(false);
}

void LoginForm::buildHeading(QVBoxLayout& column, Settings& settings) {
    QLabel* heading = makeLabel(hexColor(theme::darkText), true, 20, this);
    heading->setText(tr("登录 Parlowen"));
    controls_.hint = makeLabel(hexColor(theme::midGrey), false, 13, this);
    controls_.languageSwitch = new LanguageSwitch(settings, this);
    auto* row = new QHBoxLayout;
    row->addWidget(heading, 1);
    row->addWidget(controls_.languageSwitch, 0, Qt::AlignTop);
    column.addLayout(row);
    column.addSpacing(inPoints(4));
    column.addWidget(controls_.hint);
    column.addSpacing(inPoints(16));
}

void LoginForm::buildArea(QVBoxLayout& column) {
    auto* box = new FieldBox(QStringLiteral("login_area"), this);
    controls_.areaLabel = new QPushButton(box);
    controls_.areaLabel->setFont(systemFont(14));
    controls_.areaLabel->setStyleSheet(loginStyle::areaButton());
    controls_.areaLabel->setCursor(Qt::PointingHandCursor);
    controls_.areaLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Expanding);
    controls_.areaLabel->setAutoDefault(true);
    controls_.areaLabel->setAccessibleDescription(tr("国家/地区"));
    auto* inside = new QHBoxLayout(controls_.areaLabel);
    inside->setContentsMargins(0, 0, inPoints(4), 0);
    inside->addStretch();
    inside->addWidget(makeIcon(QStringLiteral("login_chevron"), controls_.areaLabel));
    box->layout()->addWidget(controls_.areaLabel);
    column.addWidget(box);
}

QLineEdit* LoginForm::makeField(const QString& name, QWidget* parent) {
    auto* field = new QLineEdit(parent);
    field->setFont(systemFont(14));
    field->setStyleSheet(loginStyle::field());
    field->setFrame(false);
    field->setAccessibleName(name);
    field->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    field->setMinimumWidth(0);
    return field;
}

void LoginForm::buildPhone(QVBoxLayout& column) {
    auto* box = new FieldBox(QStringLiteral("login_phone"), this);
    controls_.phoneLabel = makeField(tr("手机号"), box);
    controls_.phoneLabel->setPlaceholderText(tr("请输入手机号"));
    controls_.phoneLabel->setInputMethodHints(Qt::ImhDialableCharactersOnly);
    box->layout()->addWidget(controls_.phoneLabel);
    column.addWidget(box);
}

void LoginForm::buildSecret(QVBoxLayout& column) {
    auto* box = new FieldBox(QStringLiteral("login_lock"), this);
    controls_.secureField = makeField(tr("密码"), box);
    controls_.secureField->setEchoMode(QLineEdit::Password);
    controls_.codeLabel = makeField({}, box);
    controls_.eyeIcon = new QToolButton(box);
    controls_.eyeIcon->setIconSize(QSize(inPoints(iconSide), inPoints(iconSide)));
    controls_.eyeIcon->setAutoRaise(true);
    controls_.eyeIcon->setFocusPolicy(Qt::StrongFocus);
    controls_.eyeIcon->setCursor(Qt::PointingHandCursor);
    controls_.eyeIcon->setStyleSheet(
        QStringLiteral("QToolButton { border: 1px solid transparent; border-radius: 6px; padding: 4px; }"
                       "QToolButton:hover { background: %1; } QToolButton:focus { border-color: %2; }")
            .arg(hexColor(theme::pale).name(), hexColor(theme::link).name()));
    controls_.sendCodeButton = new QPushButton(box);
    controls_.sendCodeButton->setFont(systemFont(13));
    controls_.sendCodeButton->setStyleSheet(loginStyle::inlineButton());
    controls_.sendCodeButton->setCursor(Qt::PointingHandCursor);
    controls_.sendCodeButton->setAutoDefault(true);
    for (QWidget* each : std::initializer_list<QWidget*>{controls_.secureField, controls_.codeLabel, controls_.eyeIcon,
                                                         controls_.sendCodeButton})
        box->layout()->addWidget(each);
    column.addWidget(box);
}

void LoginForm::buildOptions(QVBoxLayout& column) {
    controls_.autoLoginBtn = new QCheckBox(tr("自动登录"), this);
    controls_.autoLoginBtn->setFont(systemFont(13));
    controls_.autoLoginBtn->setStyleSheet(styleSheets::checkBox());
    controls_.contractLabel = new QPushButton(tr("联系客服"), this);
    controls_.contractLabel->setFont(systemFont(13));
    controls_.contractLabel->setStyleSheet(loginStyle::link());
    controls_.contractLabel->setCursor(Qt::PointingHandCursor);
    controls_.contractLabel->setAutoDefault(true);
    auto* row = new QHBoxLayout;
    row->addWidget(controls_.autoLoginBtn);
    row->addStretch();
    row->addWidget(controls_.contractLabel);
    column.addLayout(row);
}

void LoginForm::buildButtons(QVBoxLayout& column) {
    controls_.loginButton = new QPushButton(tr("登录"), this);
    controls_.loginButton->setFont(systemFont(16, QFont::DemiBold));
    controls_.loginButton->setStyleSheet(loginStyle::primaryButton());
    controls_.loginButton->setFixedHeight(inPoints(loginButtonHeight));
    controls_.loginButton->setCursor(Qt::PointingHandCursor);
    controls_.loginButton->setAutoDefault(true);
    column.addWidget(controls_.loginButton);
}

void LoginForm::buildLocalButton(QVBoxLayout& column) {
    controls_.localButton = new QPushButton(tr("无需手机号，直接进入"), this);
    controls_.localButton->setFont(systemFont(14));
    controls_.localButton->setStyleSheet(loginStyle::secondaryButton());
    controls_.localButton->setFixedHeight(inPoints(localButtonHeight));
    controls_.localButton->setCursor(Qt::PointingHandCursor);
    controls_.localButton->setAutoDefault(true);
    localPromise_ = makeLabel(hexColor(theme::midGrey), false, 12, this);
    localPromise_->setWordWrap(true);
    localPromise_->setText(tr("服务就在这台电脑上。\n除非您另行设置，任何内容都不会离开本机"));
    localPromise_->setAlignment(Qt::AlignHCenter);
    controls_.localButton->setAccessibleDescription(localPromise_->text());
    column.addSpacing(inPoints(10));
    column.addWidget(controls_.localButton);
    column.addSpacing(inPoints(6));
    column.addWidget(localPromise_);
}

void LoginForm::showLocalEntrance(bool isShown) {
    if (localPromise_ == nullptr)
        return;
    controls_.localButton->setVisible(isShown);
    localPromise_->setVisible(isShown);
}

void LoginForm::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const bool hasRoom = width() >= inPoints(brandWidth + columnWidth - columnMargin);
    const int share = std::clamp(static_cast<int>(width() * brandShare), inPoints(brandWidth), inPoints(brandWidest));
    const int brand = hasRoom ? share : 0;
    brand_->setVisible(hasRoom);
    brand_->setGeometry(0, 0, brand, height());
    scroll_->setGeometry(brand, 0, width() - brand, height());
}

} // namespace parlowen

#include "moc_LoginForm.cpp"
