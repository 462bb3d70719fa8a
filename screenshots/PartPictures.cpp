#include "Sheet.h"

#include "Tools/PopView/Pixels.h"

#include <Tools/PopView/Alert.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CommonTipView.h>
#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/MouseTracker.h>
#include <Tools/PopView/PopView.h>
#include <Tools/PopView/Popover.h>
#include <gmock/gmock.h>

#include <QApplication>
#include <QBoxLayout>
#include <QDir>
#include <QIcon>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <support/WaitFor.h>

namespace parlowen::screenshots {
namespace {

using testing::waitFor;

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
    auto* tip = new CommonTipView(&page_);
    QPointer<PopView> pop = MYCenterPopView::show(tip, &page_);
    QTest::keyClick(tip, Qt::Key_Tab);
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() == 1; }));
    Sheet::shared().add("a tip, centred, with the keyboard on its first button", page_);
    pop->dismiss();
    ASSERT_TRUE(waitFor([&] { return pop.isNull(); }));
    tip->configure("发现新版本", "1. 更快的字幕\n2. 更稳的回答", "取消", "确定");
    tip->adjustSize();
    pop = MYBottomPopView::show(tip, &page_);
    ASSERT_TRUE(waitFor([&] { return pop->contentAlpha() == 1; }));
    Sheet::shared().add("at the bottom", page_);
}

/// On a desktop with dark colours.
TEST_F(PartPictures, PopoverAndAlert) {
    Sheet::shared().section("Pop-ups");
    const QPalette before = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(45, 45, 48), QColor(32, 32, 34)));
    QLabel* anchor = makeLabel(hexColor(theme::darkText), false, 14, &page_);
    anchor->setText("英语（美国）");
    anchor->setGeometry(20, 20, 120, 30);
    anchor->show();
    Popover popover(&page_);
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    auto* field = new QLineEdit;
    field->setPlaceholderText("搜索");
    auto* list = new QListWidget;
    list->addItems({"英语（美国）", "英语（英国）", "西班牙语", "日语"});
    list->setCurrentRow(0);
    layout->addWidget(field);
    layout->addWidget(list);
    content->resize(220, 200);
    popover.setContentView(content);
    for (const auto& [caption, edge] :
         {std::pair("a popover below", Popover::Edge::below), {"a popover at the right", Popover::Edge::right}}) {
        popover.show(anchor, edge);
        Sheet::shared().add(caption, popover);
        popover.close();
    }
    for (const auto& [title, style] : {std::pair("无法连接到服务器，请稍后再试", QMessageBox::Warning),
                                       {"", QMessageBox::Warning},
                                       {"请求失败：服务器内部错误", QMessageBox::Critical}}) {
        QTimer::singleShot(0, [] {
            QWidget* alert = QApplication::activeModalWidget();
            Sheet::shared().add("an alert", *alert);
            alert->close();
        });
        showAlert(title, "", "logo", style);
    }
    QApplication::setPalette(before);
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
