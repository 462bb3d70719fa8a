#include "Pixels.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/CustomBacTextField.h>
#include <Tools/PopView/Factories.h>

#include <QDir>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

using testing::waitFor;

bool isDark(const QColor& color) { return color.lightness() < 100; }

TEST(ColorsTest, ReadsTheComponentsAndClampsTheAlpha) {
    EXPECT_EQ(hexColor(theme::accent).rgba(), QColor(25, 207, 174).rgba());
    EXPECT_EQ(hexColor(theme::sessionWindow, 0.6).rgba(), QColor(29, 30, 31, 153).rgba());
    EXPECT_EQ(hexColor(0xFF010203, -0.2).rgba(), QColor(1, 2, 3, 0).rgba());
    EXPECT_EQ(hexColor(0x010203, 1.5).rgba(), QColor(1, 2, 3).rgba());
}

TEST(PaddedTextFieldTest, TextStandsInsideItsInsetsAndMayBeTyped) {
    QWidget window;
    window.resize(400, 200);
    QLineEdit plain(&window);
    PaddedTextField field(&window);
    EXPECT_EQ(field.insets(), QMargins(8, 4, 8, 4));
    plain.setGeometry(0, 0, 300, plain.sizeHint().height());
    const auto inkOf = [](QLineEdit& edit) {
        edit.deselect();
        edit.clearFocus(); // no text cursor
        return extent(shot(edit).copy(3, 3, 290, edit.height() - 6), isDark);
    };
    window.show();
    for (const QMargins& insets : {QMargins(8, 4, 8, 4), QMargins(20, 10, 10, 2)}) {
        field.setInsets(insets);
        const QSize grown(insets.left() + insets.right(), insets.top() + insets.bottom());
        EXPECT_EQ(field.sizeHint(), plain.sizeHint() + grown);
        field.setGeometry(0, 100, 300, field.sizeHint().height());
        for (QLineEdit* edit : {&plain, static_cast<QLineEdit*>(&field)}) {
            edit->clear();
            QTest::keyClicks(edit, "Hx");
            EXPECT_EQ(edit->text(), "Hx");
        }
        EXPECT_EQ(inkOf(field).left() - inkOf(plain).left(), grown.width());
        EXPECT_NEAR(inkOf(field).top() - inkOf(plain).top(), grown.height() / 2, 1);
        field.setText(QString(200, u'H'));
        EXPECT_LE(inkOf(field).right(), 300 - 3 - grown.width()) << "a long text ends inside, too";
    }
    window.activateWindow();
    field.setFocus();
    ASSERT_TRUE(waitFor([&] { return field.hasFocus(); }));
    const QColor ring = shot(field).pixelColor(150, 1);
    EXPECT_NEAR(ring.hue(), hexColor(theme::accent).hue(), 15) << "the line round it: " << ring.name().toStdString();
}

TEST(CustomBacTextFieldTest, ShowsOneLineOnAGroundOfItsOwn) {
    CustomBacTextField view;
    view.resize(200, 40);
    paintGround(view, Qt::white);
    QLabel* label = view.textField();
    EXPECT_EQ(label->font().pixelSize(), 14);
    EXPECT_THAT(shot(view).pixelColor(100, 20), Looks(QColor(Qt::white))) << "clear at first";
    view.setBackgroundColor(hexColor(theme::accent));
    view.setCornerRadius(8);
    EXPECT_THAT(shot(view).pixelColor(0, 0), Looks(QColor(Qt::white)));
    EXPECT_THAT(shot(view).pixelColor(4, 4), Looks(hexColor(theme::accent)));
    label->setText("<b>H</b>");
    const QRect shortText = extent(shot(view), isDark);
    EXPECT_GT(shortText.width(), 30) << "plain text, not marked-up text";
    EXPECT_LT(shortText.left(), 15) << "at the left";
    EXPECT_NEAR(shortText.center().y(), 20, 3);
    label->setText("one two three four five six seven eight nine");
    const QRect longText = extent(shot(view), isDark);
    EXPECT_LE(longText.right(), 200 - 8) << "cut at its tail, inside the view";
    EXPECT_LT(longText.height(), 20) << "in one line";
}

TEST(FactoriesTest, LabelsWrapInTheirColourAndFont) {
    QWidget page;
    paintGround(page, Qt::white);
    page.resize(300, 200);
    QLabel* label = makeLabel(hexColor(theme::accent), true, 17, &page);
    EXPECT_TRUE(label->font().bold());
    label->setText(solid.repeated(3));
    label->setGeometry(0, 0, 300, 40);
    const QRect ink = extent(shot(page), [](const QColor& c) { return c == hexColor(theme::accent); });
    EXPECT_GE(ink.height(), 17 - 2);
    label->setText("one two three four five six ");
    EXPECT_GE(label->heightForWidth(60), 4 * 17) << "any number of lines";
}

TEST(FactoriesTest, ButtonsHaveTheirLookAndDoTheirAction) {
    QWidget page;
    paintGround(page, Qt::white);
    page.resize(300, 200);
    int clicks = 0;
    QPushButton* button = makeButton(
        solid, Qt::red, hexColor(theme::accent), [&clicks] { ++clicks; }, 10, 15, &page);
    QPushButton* cardButton = makeCardButton(solid, Qt::black, hexColor(theme::secondary), &page);
    page.show();
    QTest::mouseMove(&page, {290, 190});
    struct Case {
        QPushButton* button;
        QColor title, ground;
        int radius, size;
    };
    for (const Case& look : {Case{button, Qt::red, hexColor(theme::accent), 10, 15},
                             Case{cardButton, Qt::black, hexColor(theme::secondary), 8, 14}}) {
        EXPECT_EQ(look.button->font().pixelSize(), look.size);
        look.button->clearFocus();
        look.button->setGeometry(0, 0, 120, 40);
        look.button->raise();
        const QImage image = shot(page);
        EXPECT_THAT(image.pixelColor(60, 20), Looks(look.title));
        EXPECT_THAT(image.pixelColor(20, 20), Looks(look.ground));
        EXPECT_THAT(image.pixelColor(60, 0), Looks(look.ground)) << "no border";
        const int cut = qRound(look.radius * 0.29);
        EXPECT_THAT(image.pixelColor(cut - 2, cut - 2), Looks(QColor(Qt::white)));
        EXPECT_THAT(image.pixelColor(cut + 2, cut + 2), Looks(look.ground));
        QTest::mouseMove(look.button, {60, 20});
        EXPECT_TRUE(waitFor([&] { return !isNear(shot(page).pixelColor(20, 20), look.ground, 2); })) << "hovered";
        QTest::mouseMove(&page, {290, 190});
        QTest::mouseClick(look.button, Qt::LeftButton);
    }
    EXPECT_EQ(clicks, 1) << "a card's button does nothing yet";
}

TEST(IconsTest, EveryAssetIsThereAndSharpAtBothScales) {
    const QStringList names = QString("action aiText_bg ai_guonei ai_guoneiwai ai_guowai ai_select close home_bb "
                                      "home_bb_s home_gj home_gj_s home_hd home_hd_s home_me home_me_s home_sz "
                                      "home_sz_s home_tui home_xbk home_xbk_s icon_pd_false icon_pd_true logo missing "
                                      "start_font_length start_icon swith_mode tishi_r translate_down "
                                      "translate_up translate_up1 up_word")
                                  .split(u' ');
    EXPECT_EQ(QDir(":/icons").entryList().size(), names.size());
    for (const QString& name : names) {
        const QIcon icon(QString(":/icons/%1.svg").arg(name));
        const QImage small = icon.pixmap(QSize(24, 24), 1.0).toImage();
        const QImage large = icon.pixmap(QSize(24, 24), 2.0).toImage();
        ASSERT_FALSE(small.isNull() || large.isNull()) << name.toStdString();
        EXPECT_NE(large.convertToFormat(QImage::Format_ARGB32),
                  small.scaled(large.size()).convertToFormat(QImage::Format_ARGB32))
            << name.toStdString() << " is drawn anew for the larger scale";
        int ink = 0;
        for (int y = 0; y < large.height(); ++y) {
            for (int x = 0; x < large.width(); ++x)
                ink += large.pixelColor(x, y).alpha() > 128 ? 1 : 0;
        }
        EXPECT_GT(ink, 48 * 48 / 30) << name.toStdString() << " shows something";
    }
}

} // namespace
} // namespace parlowen
