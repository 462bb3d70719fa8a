#include "SetupNotices.h"

#include <Network/LanguageList.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr int noteFont = 12;

QString baseOf(const QString& key) { return key.section(u'-', 0, 0).toLower(); }

/// Wraps its title where it is narrow.
class Link : public QPushButton {
public:
    using QPushButton::QPushButton;

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return textIn(width).height() + 2 * linkEdge; }
    QSize sizeHint() const override {
        const int wide = fontMetrics().horizontalAdvance(text()) + 2 * linkEdge + 1;
        return {wide, heightForWidth(wide)};
    }
    QSize minimumSizeHint() const override { return {fontMetrics().averageCharWidth() * 5, fontMetrics().height()}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QFont underlined = font();
        underlined.setUnderline(true);
        painter.setFont(underlined);
        painter.setPen(hexColor(underMouse() ? theme::accent : theme::link));
        painter.drawText(rect().adjusted(linkEdge, linkEdge, -linkEdge, -linkEdge), linkFlags, text());
        if (hasFocus())
            painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    }

private:
    QRect textIn(int width) const {
        return fontMetrics().boundingRect(QRect(0, 0, width - 2 * linkEdge, QWIDGETSIZE_MAX), linkFlags, text());
    }
    static constexpr int linkEdge = 1;
    static constexpr int linkFlags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap;
};

/// A text above its link, both in the middle of the height.
void lay(QWidget* notice, QLabel* text, QPushButton* link) {
    auto* column = new QVBoxLayout(notice);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addStretch();
    column->addWidget(text);
    column->addWidget(link);
    column->addStretch();
    notice->hide();
}

} // namespace

QPushButton* makeLink(const QString& title, QWidget* parent) {
    auto* link = new Link(title, parent);
    link->setFont(systemFont(noteFont));
    link->setCursor(Qt::PointingHandCursor);
    link->setAutoDefault(true);
    link->setAttribute(Qt::WA_Hover);
    QSizePolicy wraps(QSizePolicy::Maximum, QSizePolicy::Minimum);
    wraps.setHeightForWidth(true);
    link->setSizePolicy(wraps);
    return link;
}

CommonTipView* makeStartQuestion(const QString& title, const QString& text, const QString& remedy) {
    auto* card = new CommonTipView;
    card->configure(title, text, LanguageNotice::tr("仍然开始"), remedy);
    card->resize(card->sizeHint());
    return card;
}

LanguageNotice::LanguageNotice(Kind kind, QWidget* parent)
    : QWidget(parent)
    , kind_(kind)
    , text_(makeLabel(hexColor(theme::warning), false, noteFont, this))
    , button_(makeLink({}, this)) {
    lay(this, text_, button_);
    connect(button_, &QPushButton::clicked, this, &LanguageNotice::insteadTaken);
}

void LanguageNotice::setOffered(std::optional<std::vector<LanguageListModel>> languages) {
    offered_ = std::move(languages);
    look();
}

void LanguageNotice::setChosen(const std::optional<LanguageListModel>& language) {
    chosen_ = language.value_or(LanguageListModel());
    look();
}

void LanguageNotice::setUsed(bool used) {
    used_ = used;
    look();
}

QString LanguageNotice::keyOf(const LanguageListModel& language) const {
    return kind_ == Kind::spoken ? language.original_key : language.translation_key;
}

std::optional<LanguageListModel> LanguageNotice::findInstead() const {
    const auto firstWith = [this](const auto& fits) {
        const auto found = std::ranges::find_if(*offered_, fits);
        return found == offered_->end() ? std::nullopt : std::optional(*found);
    };
    const QString base = baseOf(keyOf(chosen_));
    if (auto sameLanguage = firstWith([&](const auto& other) { return baseOf(keyOf(other)) == base; }))
        return sameLanguage;
    if (auto english = firstWith([](const auto& other) { return other.original_key == u"en-US"; }))
        return english;
    return firstWith([](const auto&) { return true; });
}

void LanguageNotice::look() {
    missing_ = used_ && offered_ && std::ranges::none_of(*offered_, [this](const LanguageListModel& other) {
                   return keyOf(other).compare(keyOf(chosen_), Qt::CaseInsensitive) == 0;
               });
    instead_ = missing_ ? findInstead() : std::nullopt;
    if (missing_) {
        const bool spoken = kind_ == Kind::spoken;
        text_->setText(spoken ? tr("服务听不懂，不会有文字") : tr("服务不能译成它，不会有文字"));
        button_->setText(instead_ ? tr("改用“%1”").arg(languageName(*instead_)) : QString());
        button_->setVisible(instead_.has_value());
    }
    setVisible(missing_);
}

CommonTipView* LanguageNotice::makeQuestion(const LanguageNotice& spoken, const LanguageNotice& target) {
    QStringList problems;
    QStringList remedies;
    if (spoken.isMissing())
        problems << tr("听不懂“%1”").arg(languageName(spoken.chosen_));
    if (target.isMissing())
        problems << tr("不能译成“%1”").arg(languageName(target.chosen_));
    if (spoken.instead())
        remedies << tr("识别“%1”").arg(languageName(*spoken.instead()));
    if (target.instead())
        remedies << tr("译成“%1”").arg(languageName(*target.instead()));
    const QString separator = tr("，");
    QStringList text{tr("它%1。这样开始的面试不会有文字，也不会有回答。").arg(problems.join(separator))};
    if (!remedies.isEmpty())
        text << tr("可以改为%1。").arg(remedies.join(separator));
    if (target.isMissing())
        text << tr("不需要译文时，请在右上角改选“国内面试AI”。");
    return makeStartQuestion(tr("当前服务没有所选的语言"), text.join(u'\n'),
                             remedies.isEmpty() ? tr("返回") : tr("改用并开始"));
}

PersonalNotice::PersonalNotice(QWidget* parent)
    : QWidget(parent)
    , text_(makeLabel(hexColor(theme::midGrey), false, noteFont, this))
    , button_(makeLink({}, this)) {
    lay(this, text_, button_);
}

void PersonalNotice::show(bool hasPosition, bool hasResume) {
    if (!hasPosition && !hasResume)
        text_->setText(tr("没有岗位和简历，回答会笼统"));
    else if (!hasPosition)
        text_->setText(tr("没有岗位，回答会笼统"));
    else
        text_->setText(tr("没有简历，回答用不上您的经历"));
    button_->setText(hasPosition ? tr("去上传") : tr("去填写"));
    setHidden(hasPosition && hasResume);
}

} // namespace parlowen

#include "moc_SetupNotices.cpp"
