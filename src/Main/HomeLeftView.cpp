#include "HomeLeftView.h"

#include "Pages.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QCoreApplication>
#include <QEvent>
#include <QLabel>
#include <QPainter>

namespace parlowen {

namespace {

constexpr QSize buttonSize(148, 43); // at the usual font scale
constexpr double buttonRadius = 5;
constexpr int buttonGap = 10;
constexpr int columnTop = 20;
constexpr int columnLeft = 16;
constexpr int usualWidth = 180;
constexpr int compactWidth = 48;
constexpr int compactLeft = 8;
constexpr int iconSide = 20;
const QColor highlight(15, 227, 189);

struct Entry {
    const char* title; // UTF-8
    const char* icon;
    int menuTag;
    bool isShown;
};

constexpr std::array<Entry, 8> entries{{
    {QT_TRANSLATE_NOOP("Pages", "AI面试"), "home_gj", setupPage, true},
    {QT_TRANSLATE_NOOP("Pages", "个人中心"), "home_me", accountPage, true},
    {QT_TRANSLATE_NOOP("Pages", "历史"), "", 2, false},
    {QT_TRANSLATE_NOOP("Pages", "面试设置"), "home_sz", aiSettingsPage, true},
    {QT_TRANSLATE_NOOP("Pages", "版本信息"), "home_bb", aboutPage, true},
    {QT_TRANSLATE_NOOP("Pages", "学霸卡"), "home_xbk", 6, false},
    {QT_TRANSLATE_NOOP("Pages", "活动"), "home_hd", 9, false},
    {QT_TRANSLATE_NOOP("Pages", "退出登录"), "home_tui", signOutPage, true},
}};
constexpr std::size_t followers = entries.size() - 1; // signing out is no page that could be shown

} // namespace

HomeLeftCustomView::HomeLeftCustomView(const char* title, const QString& icon, int tag, QWidget* parent)
    : KeyFocusButton(parent)
    , menuTag(tag)
    , title_(title)
    , icon_(icon)
    , iconImg_(new QLabel(this))
    , titleLab_(makeLabel(palette::CSS::black(), false, 14, this)) {
    titleLab_->setWordWrap(false);
    sayTexts();
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 0, 10, 0);
    row->setSpacing(10);
    row->addWidget(iconImg_);
    row->addWidget(titleLab_, 1);
    for (QLabel* label : {iconImg_, titleLab_})
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
    iconImg_->setFixedSize(QSize(iconSide, iconSide) * fontScale());
    setFixedSize(sizeHint());
    if (!icon_.isEmpty())
        iconImg_->setPixmap(namedImage(icon_).pixmap(iconImg_->size(), devicePixelRatioF()));
}

void HomeLeftCustomView::sayTexts() {
    setText(QCoreApplication::translate("Pages", title_));
    setToolTip(isCompact_ ? text() : QString());
    setAccessibleName(text());
    setAccessibleDescription(isHighlighted_ ? tr("当前页面") : QString());
    titleLab_->setText(text());
}

void HomeLeftCustomView::changeEvent(QEvent* event) {
    KeyFocusButton::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        sayTexts();
}

QSize HomeLeftCustomView::sizeHint() const {
    return {inPoints(isCompact_ ? compactWidth : buttonSize.width()), inPoints(buttonSize.height())};
}

void HomeLeftCustomView::setCompact(bool compact) {
    isCompact_ = compact;
    titleLab_->setHidden(compact);
    sayTexts();
    setFixedSize(sizeHint());
}

void HomeLeftCustomView::setHighlighted(bool highlighted) {
    isHighlighted_ = highlighted;
    sayTexts();
    QPalette colours = titleLab_->palette();
    colours.setColor(QPalette::WindowText, highlighted ? palette::CSS::white() : hexColor(theme::midGrey));
    titleLab_->setPalette(colours);
    titleLab_->setFont(systemFont(14, highlighted ? QFont::DemiBold : QFont::Normal));
    if (!icon_.isEmpty()) {
        const QString name = highlighted ? icon_ + QStringLiteral("_s") : icon_;
        iconImg_->setPixmap(namedImage(name).pixmap(iconImg_->size(), devicePixelRatioF()));
    }
    update();
}

void HomeLeftCustomView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ground = QRectF(rect()).adjusted(1, 1, -1, -1);
    painter.setPen(showsFocus() ? QPen(hexColor(theme::link), 1.5) : QPen(Qt::NoPen));
    if (isHighlighted_)
        painter.setBrush(highlight);
    else if (isDown() || underMouse())
        painter.setBrush(hexColor(theme::secondary));
    painter.drawRoundedRect(ground, buttonRadius, buttonRadius);
}

HomeLeftView::HomeLeftView(QWidget* parent)
    : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(columnLeft, columnTop, 0, columnTop);
    column->setSpacing(buttonGap);
    for (std::size_t number = 0; number < entries.size(); ++number) {
        if (entries.at(number).isShown)
            column->addWidget(button(number), 0, Qt::AlignLeft);
    }
    column->addStretch();
    refresh();
}

HomeLeftCustomView* HomeLeftView::button(std::size_t number) {
    HomeLeftCustomView*& made = made_.at(number);
    if (made == nullptr) {
        const Entry& entry = entries.at(number);
        made = new HomeLeftCustomView(entry.title, QString::fromLatin1(entry.icon), entry.menuTag, this);
        made->setVisible(entry.isShown);
        connect(made, &QAbstractButton::clicked, this, [this, tag = entry.menuTag] { didTap(tag); });
    }
    return made;
}

const std::vector<HomeLeftCustomView*>& HomeLeftView::buttons() {
    while (buttons_.size() < followers)
        buttons_.push_back(button(buttons_.size()));
    return buttons_;
}

void HomeLeftView::refresh() {
    for (HomeLeftCustomView* one : buttons())
        one->setHighlighted(one->menuTag == selectIndex);
}

void HomeLeftView::setCompact(bool compact) {
    if (compact == isCompact_)
        return;
    isCompact_ = compact;
    for (HomeLeftCustomView* made : made_) {
        if (made != nullptr)
            made->setCompact(compact);
    }
    layout()->setContentsMargins(compact ? compactLeft : columnLeft, columnTop, 0, columnTop);
}

int HomeLeftView::columnWidth() const {
    return isCompact_ ? inPoints(compactWidth) + 2 * compactLeft : inPoints(usualWidth);
}

void HomeLeftView::didTap(int menuTag) {
    selectIndex = menuTag;
    refresh();
    if (didSelectItem)
        didSelectItem(menuTag);
}

} // namespace parlowen

#include "moc_HomeLeftView.cpp"
