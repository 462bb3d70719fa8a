#include "Sheet.h"

#include "Tools/PopView/Pixels.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/MouseTracker.h>
#include <Tools/PopView/PopView.h>
#include <gmock/gmock.h>

#include <QBoxLayout>
#include <QDir>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <support/WaitFor.h>

namespace parlowen::screenshots {
namespace {

using testing::waitFor;

QWidget* makeCard(QSize size) {
    auto* card = new QWidget;
    card->setObjectName("card");
    card->resize(size);
    card->setAttribute(Qt::WA_StyledBackground);
    card->setStyleSheet("#card { background: white; border-radius: 10px; }");
    auto* layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 20, 20, 20);
    QLabel* title = makeLabel(hexColor(theme::darkText), true, 15, card);
    title->setText("发现新版本");
    title->setAlignment(Qt::AlignCenter);
    QLabel* notes = makeLabel(hexColor(theme::midGrey), false, 14, card);
    notes->setText("1. 更快的字幕\n2. 更稳的回答");
    auto* sure = makeCardButton("确定", Qt::white, hexColor(theme::accent), card);
    auto* cancel = makeCardButton("取消", hexColor(theme::darkText), hexColor(theme::secondary), card);
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {cancel, sure}) {
        button->setFixedHeight(36);
        buttons->addWidget(button);
    }
    layout->addWidget(title);
    layout->addWidget(notes, 1);
    layout->addLayout(buttons);
    return card;
}

class PartPictures : public ::testing::Test {
protected:
    PartPictures() {
        page_.resize(520, 380);
        paintGround(page_, hexColor(theme::pageGround));
        page_.show();
    }

    QWidget page_;
};

TEST_F(PartPictures, PopUps) {
    Sheet::shared().section("Pop-ups");
    QPointer<PopView> pop = MYCenterPopView::show(makeCard({260, 260}), &page_);
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() == 1; }));
    Sheet::shared().add("centred", page_);
    pop->dismiss();
    ASSERT_TRUE(waitFor([&] { return pop.isNull(); }));
    pop = MYBottomPopView::show(makeCard({440, 180}), &page_);
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() == 1; }));
    Sheet::shared().add("at the bottom", page_);
}

TEST_F(PartPictures, StyledParts) {
    Sheet::shared().section("Styled parts");
    page_.resize(380, 260);
    auto* layout = new QVBoxLayout(&page_);
    auto* preview = new CustomBacTextField(&page_);
    preview->textField()->setText("Hi,Parlowen");
    preview->textField()->setStyleSheet("color: white;");
    preview->setBackgroundColor(hexColor(theme::accent));
    preview->setCornerRadius(8);
    preview->setFixedHeight(40);
    auto* field = new PaddedTextField(&page_);
    field->setText("后端工程师");
    auto* hovered = new CustomBacTextField(&page_);
    hovered->textField()->setText("面试设置");
    hovered->setBackgroundColor(Qt::white);
    hovered->setFixedHeight(40);
    applyHoverEffects(hovered, {HoverEffect::cornerRadius(12), HoverEffect::background(hexColor(theme::accent, 0.25))});
    for (QWidget* part : std::initializer_list<QWidget*>{
             preview, field, hovered, makeButton("去更新", Qt::white, hexColor(theme::accent), {}, 10, 15, &page_),
             makeCardButton("取消", hexColor(theme::darkText), hexColor(theme::secondary), &page_)})
        layout->addWidget(part);
    QTest::mouseMove(&page_, {1, 1});
    ASSERT_TRUE(waitFor([&] { return hovered->height() == 40 && !hovered->underMouse(); }));
    Sheet::shared().add("at rest", page_);
    QTest::mouseMove(hovered, hovered->rect().center());
    ASSERT_TRUE(waitFor([&] { return hovered->underMouse(); }));
    Sheet::shared().add("under the pointer", page_);
}

TEST_F(PartPictures, Icons) {
    Sheet::shared().section("Icons");
    const QStringList names = QDir(":/icons").entryList();
    ASSERT_FALSE(names.isEmpty());
    for (const QString& name : names) {
        const QColor ground = name.endsWith("_s.svg")           ? hexColor(theme::tip)
                              : name.startsWith("translate_up") ? hexColor(theme::sessionWindow)
                                                                : QColor(Qt::white);
        QLabel label;
        paintGround(label, ground);
        label.setAlignment(Qt::AlignCenter);
        label.resize(120, 72);
        label.setPixmap(QIcon(QString(":/icons/") + name).pixmap(QSize(96, 54), 2.0));
        Sheet::shared().add(name.chopped(4), label);
    }
}

} // namespace
} // namespace parlowen::screenshots
