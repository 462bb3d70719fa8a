#include "WindowRig.h"

namespace parlowen::testing {
namespace {

struct SessionReadingTest : WindowRig {
    qint64 storedSize() const { return settings_.aiInterviewSetModel()->answerFontSize; }
    int shownSize(const ReadingList& list) const {
        return list.model()->index(0, 0).data(Qt::FontRole).value<QFont>().pixelSize();
    }
    /// Presses the right button at a place of the window, as the window system reports it.
    QMenu* menuAt(QPoint place) {
        QTest::mouseClick(window_->windowHandle(), Qt::RightButton, {}, place);
        EXPECT_TRUE(waitFor([this] { return findMenu() != nullptr && findMenu()->isVisible(); }));
        return findMenu();
    }
    QPoint inWindow(const ReadingList& list, int row) {
        return list.viewport()->mapTo(window_.get(), list.visualRect(list.model()->index(row, 0)).center());
    }
    QMenu* findMenu() { return window_->findChild<QMenu*>("sessionMenu"); }
    void choose(QMenu* menu, const char* name) {
        auto* action = menu->findChild<QAction*>(name);
        ASSERT_NE(action, nullptr) << name;
        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
        ASSERT_TRUE(waitFor([this] { return findMenu() == nullptr; }));
    }
    static std::string clipboard() { return QApplication::clipboard()->text().toStdString(); }
};

TEST_F(SessionReadingTest, KeysChangeTheListsFontInStepsAndStoreIt) {
    openActive(1);
    final("Tell me.");
    ASSERT_EQ(shownSize(transcript()), 16);
    auto changed = *settings_.aiInterviewSetModel();
    changed.positioname = "changed meanwhile";
    settings_.setAiInterviewSetModel(changed);
    box().setFocus(Qt::MouseFocusReason);
    const int height = transcript().rowHeight(0);
    const std::pair<Qt::Key, std::vector<int>> keys[] = {
        {Qt::Key_Plus, {18, 20, 22, 24, 24}}, {Qt::Key_Minus, {22, 20, 18, 16, 14, 14}}, {Qt::Key_Equal, {16}}};
    for (const auto& [key, sizes] : keys)
        for (const int size : sizes) {
            press(key, Qt::ControlModifier);
            EXPECT_EQ(shownSize(transcript()), size);
            EXPECT_EQ(storedSize(), size);
        }
    EXPECT_EQ(transcript().rowHeight(0), height);
    EXPECT_EQ(settings_.aiInterviewSetModel()->positioname.toStdString(), "changed meanwhile");
    EXPECT_EQ(box().toPlainText().toStdString(), "\nTell me.") << "the keys type nothing";
    for (const auto& [stored, used] : {std::pair(-3, 14), {20, 20}, {4000, 24}}) {
        changed.answerFontSize = stored;
        settings_.setAiInterviewSetModel(changed);
        start();
        EXPECT_EQ(page().fontSize(), used) << stored;
    }
}

TEST_F(SessionReadingTest, TheContextMenuCopiesFromTheListUnderThePointer) {
    openActive();
    final("Tell me.");
    final("Why?");
    choose(menuAt(inWindow(transcript(), 1)), "copy");
    EXPECT_EQ(clipboard(), "Why?");
    for (const char* name : {"copyAll", "selectAll"}) {
        choose(menuAt(inWindow(transcript(), 0)), name);
        becomeActive();
        if (name == std::string("selectAll"))
            press(Qt::Key_C, Qt::ControlModifier);
        EXPECT_EQ(clipboard(), "Tell me.\nWhy?");
        QApplication::clipboard()->clear();
    }
    for (const auto& [name, size] : {std::pair("largerFont", 18), {"smallerFont", 16}}) {
        choose(menuAt(inWindow(transcript(), 0)), name);
        EXPECT_EQ(storedSize(), size);
    }
    settings_.setAiInterviewSetModel(std::nullopt);
    choose(menuAt({300, 30}), "usualFont");
    EXPECT_EQ(page().fontSize(), 14);
    EXPECT_EQ(settings_.aiInterviewSetModel(), std::nullopt) << "where no settings are stored, none appear";
    QMenu& menu = *menuAt({300, 30});
    EXPECT_FALSE(menu.findChild<QAction*>("usualFont")->isEnabled()) << "it is so already";
    EXPECT_EQ(menu.findChild<QAction*>("copy"), nullptr);
}

TEST_F(SessionReadingTest, TheGroundsOpacityIsSetInTheMenuAndRemembered) {
    const auto alpha = [this] {
        QImage picture(window_->size(), QImage::Format_ARGB32);
        picture.fill(Qt::transparent);
        window_->render(&picture, {}, {}, QWidget::DrawChildren);
        return picture.pixelColor(300, 6).alpha();
    };
    openActive();
    EXPECT_EQ(alpha(), qRound(0.7 * 255));
    auto* slider = menuAt({300, 30})->findChild<QSlider*>("opacity");
    ASSERT_NE(slider, nullptr);
    EXPECT_EQ(slider->value(), 70);
    QTest::keyClick(slider, Qt::Key_Home);
    findMenu()->close();
    for (int i = 0; i < 2; ++i, start()) // now, and the next time
        EXPECT_EQ(alpha(), qRound(0.5 * 255)) << "its text stays readable";
    settings_.setSessionWindowOpacity(3);
    start();
    EXPECT_EQ(window_->groundOpacity(), 50) << "whatever is stored";
}

TEST_F(SessionReadingTest, EveryTextStandsOutFromADarkGround) {
    const auto expectReadable = [](const QImage& picture, const QRect& area, const std::string& what) {
        int darkest = 255, lightest = 0;
        for (int x = area.left(); x <= area.right(); ++x)
            for (int y = area.top(); y <= area.bottom(); ++y) {
                const int lightness = picture.pixelColor(x, y).lightness();
                darkest = std::min(darkest, lightness);
                lightest = std::max(lightest, lightness);
            }
        EXPECT_LT(darkest, 80) << what;
        EXPECT_GT(lightest - darkest, 60) << what;
    };
    openActive(1);
    const auto grab = [](QWidget& widget) { return widget.grab().toImage().convertToFormat(QImage::Format_RGB32); };
    EXPECT_LT(grab(*window_).pixelColor(300, 6).lightness(), 80);
    expectReadable(grab(*window_), {answers().mapTo(window_.get(), QPoint()), answers().size()}, "placeholder");
    final("█");
    Q_EMIT page().happened(session::Question{1, ""});
    Q_EMIT page().happened(session::AnswerPiece{1, "█"});
    const QImage picture = grab(*window_);
    for (const char* name :
         {"timeLabel", "subject", "statusChip", "textView", "aiResponseButton", "topTableView", "bottomTableView"}) {
        const QWidget& shown = part(name);
        expectReadable(picture, {shown.mapTo(window_.get(), QPoint()), shown.size()}, name);
    }
    QMenu& menu = *menuAt({300, 30});
    expectReadable(grab(menu), menu.actionGeometry(menu.actions().front()), "menu");
    menu.close();
    QTest::mouseClick(&part("statusChip"), Qt::LeftButton);
    QWidget& details = part("statusDetails");
    for (const char* name : {"statusHeadline", "statusSentences"})
        expectReadable(grab(details), part(name).geometry(), name);
}

TEST_F(SessionReadingTest, KeysOpenTheMenuSetTheOpacityAndAsk) {
    openActive(1);
    final("Tell me.");
    final("Why?");
    transcript().setFocus(Qt::TabFocusReason);
    press(Qt::Key_F10, Qt::ShiftModifier);
    ASSERT_TRUE(waitFor([this] { return findMenu() != nullptr && findMenu()->isVisible(); }));
    EXPECT_EQ(window_->mapFromGlobal(findMenu()->pos()), inWindow(transcript(), 1)) << "where the keys are";
    choose(findMenu(), "clearer");
    EXPECT_EQ(window_->groundOpacity(), 65);
    becomeActive();
    box().setFocus(Qt::TabFocusReason);
    for (int i = 0; i < 9; ++i)
        press(Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(window_->groundOpacity(), 100);
    press(Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(window_->groundOpacity(), 95);
    press(Qt::Key_Home, Qt::ControlModifier);
    QTest::keyClicks(&box(), "So: ");
    press(Qt::Key_Return, Qt::ControlModifier);
    ASSERT_TRUE(asked(1));
    EXPECT_EQ(question(0)["txt"].toString().toStdString(), "\nSo: Tell me.\nWhy?");
    EXPECT_TRUE(box().toPlainText().isEmpty() && answers().model()->rowCount() == 1);
    QTest::keyClicks(&box(), "Please!");
    QTest::mouseClick(&answerButton(), Qt::LeftButton);
    ASSERT_TRUE(asked(2));
}

TEST_F(SessionReadingTest, TheTabKeyReachesEveryControlAndNoKeyClosesTheWindowOrAsksByAccident) {
    openActive(1);
    final("Tell me.");
    ASSERT_TRUE(waitFor([this] { return QApplication::focusWidget() == nullptr; })) << "no field has it at first";
    std::vector<std::string> seen;
    for (int i = 0; i < 7; ++i) {
        press(Qt::Key_Tab);
        QWidget* focused = QApplication::focusWidget();
        ASSERT_NE(focused, nullptr);
        seen.push_back(focused->objectName().toStdString());
        QAccessibleInterface* face = QAccessible::queryAccessibleInterface(focused);
        EXPECT_FALSE(face->text(QAccessible::Name).isEmpty()) << seen.back();
        const QImage with = window_->grab().toImage();
        focused->clearFocus();
        EXPECT_NE(window_->grab().toImage(), with) << seen.back() << " shows that it has the focus";
        for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Enter}) {
            focused->setFocus(Qt::TabFocusReason);
            press(key, Qt::AltModifier);
            if (seen.back() != "statusChip") // its details open
                press(key);
        }
        focused->setFocus(Qt::TabFocusReason);
    }
    EXPECT_THAT(seen, ::testing::ElementsAre("statusChip", "topImg", "closeButton", "topTableView", "textView",
                                             "aiResponseButton", "bottomTableView"));
    EXPECT_TRUE(window_->isVisible() && page().isTop());
    EXPECT_TRUE(page().streamModels().empty());
}

} // namespace
} // namespace parlowen::testing
