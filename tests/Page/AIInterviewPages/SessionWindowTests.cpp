#include "WindowRig.h"
#include <Page/AIInterviewPages/SessionLayout.h>
#include <Page/AIInterviewPages/WindowLevel.h>
#include <Tools/PopView/CommonTipView.h>

namespace parlowen::testing {
namespace {

struct SessionWindowTest : WindowRig {
    QToolButton& pin() { return part<QToolButton>("topImg"); }
    QLabel& tip() { return part<QLabel>("tipLab"); }
    QRect place(const QWidget& widget) { return {widget.mapTo(window_.get(), QPoint()), widget.size()}; }
    bool floats() { return window_->windowHandle()->flags().testFlag(Qt::WindowStaysOnTopHint); }
    static KXTranslationHistoryDetailsModel row(const QString& text) {
        KXTranslationHistoryDetailsModel made;
        made.sourceText = text;
        return made;
    }
    /// What a list shows once all that has happened.
    std::string after(const std::vector<SessionEvent>& events, const ReadingList& list) {
        for (const SessionEvent& event : events)
            Q_EMIT page().happened(event);
        return texts(list);
    }
    static std::string texts(const ReadingList& list) {
        QStringList rows;
        for (int i = 0; i < list.model()->rowCount(); ++i)
            rows << list.model()->index(i, 0).data(Qt::AccessibleTextRole).toString();
        return rows.join(u'|').toStdString();
    }
    /// Where the window is once it was dragged with the left button, as the window system's events would.
    QRect dragged(QPoint from, QPoint way) {
        const QPoint start = window_->mapToGlobal(from);
        for (const auto& [type, global] : {std::pair(QEvent::MouseButtonPress, start),
                                           {QEvent::MouseMove, start + way / 2},
                                           {QEvent::MouseMove, start + way},
                                           {QEvent::MouseButtonRelease, start + way}}) {
            const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
            const Qt::MouseButton held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent event(type, window_->mapFromGlobal(global), global, button, held, Qt::NoModifier);
            QCoreApplication::sendEvent(window_.get(), &event);
        }
        return window_->geometry();
    }
};

TEST_F(SessionWindowTest, ShowsWhatHappensInTheSession) {
    using namespace session;
    start();
    const QAbstractItemModelTester rows(transcript().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    const QAbstractItemModelTester answered(answers().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(after({Partial{1, row("so tell")}}, transcript()), "1:so tell（识别中）");
    EXPECT_EQ(after({Sentence{1, row("So tell me.")}, Missed{7}, Missed{5}, Sentence{2, row("Why?")}}, transcript()),
              "1:So tell me.|… 12 s 未听到 …|2:Why?");
    EXPECT_EQ(after({Translated{2, row("Why not?")}}, transcript()), "1:So tell me.|… 12 s 未听到 …|2:Why not?");
    const AnswerEnd cancelled{AnswerEnd::Outcome::Cancelled, AnswerEnd::Cause::BrokenOff, {}};
    const AnswerEnd failed{AnswerEnd::Outcome::Failed, AnswerEnd::Cause::BrokenOff, {}};
    EXPECT_EQ(after({Question{1, ""}, Question{2, ""}, AnswerPiece{2, "先说"}, AnswerPiece{2, "结论"},
                     AnswerEnded{1, {}}, AnswerEnded{1, cancelled}},
                    answers()),
              "1:|2:先说结论");
    const int height = answers().rowHeight(1);
    EXPECT_EQ(after({AnswerEnded{2, failed}}, answers()), "1:|2:先说结论（回答中断）");
    EXPECT_GT(answers().rowHeight(1), height) << "a line under the answer";
    EXPECT_EQ(answers().wholeText().toStdString(), "\n先说结论") << "no part of it";
    EXPECT_EQ(after({Taken{}, Question{3, ""}, AnswerPiece{2, "迟到"}, AnswerPiece{3, "新"}}, answers()), "1:新");
    for (const auto& [seconds, shown] : {std::pair(3'599, "00:59:59"), {360'061, "100:01:01"}}) {
        page().setUseTimeCount(seconds);
        EXPECT_EQ(part<QLabel>("timeLabel").text().toStdString(), shown);
    }
    for (int i = 4; i < 20; ++i)
        after({Question{i, ""}}, answers());
    EXPECT_GT(answers().verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(answers().verticalScrollBar()->value(), answers().verticalScrollBar()->maximum());
}

TEST_F(SessionWindowTest, AMarkUnderAnAnswerOpensWhatItLeansOn) {
    openActive();
    final("Why?");
    ASSERT_TRUE(asked(1));
    answerPiece("答案");
    answerServer_.sendPiece(": grounds [\"甲\",\"乙\"]\n: grounds {\"no\":\"list\"}\n: grounds [\n");
    ASSERT_TRUE(waitFor([this] { return texts(answers()) == "1:答案\n▸ 简历依据（2）"; })) << texts(answers());
    const std::string opened = "1:答案\n▾ 简历依据\n甲\n乙";
    const int height = answers().rowHeight(0);
    const QRect row = answers().visualRect(answers().model()->index(0, 0));
    QWidget* list = answers().viewport();
    QTest::mouseClick(list, Qt::LeftButton, {}, {30, row.top() + 12});
    EXPECT_EQ(answers().rowHeight(0), height) << "the answer itself opens nothing";
    const QPoint mark(30, row.bottom() - 16);
    QTest::mouseMove(list, mark);
    EXPECT_EQ(list->cursor().shape(), Qt::PointingHandCursor);
    QTest::mouseClick(list, Qt::LeftButton, {}, mark);
    EXPECT_EQ(texts(answers()), opened);
    EXPECT_GT(answers().rowHeight(0), height);
    answers().setFocus(Qt::TabFocusReason);
    for (const auto key : {Qt::Key_Space, Qt::Key_Return}) {
        QTest::keyClick(&answers(), key);
        EXPECT_EQ(answers().rowHeight(0) > height, key == Qt::Key_Return);
    }
    EXPECT_EQ(answers().wholeText(), QStringLiteral("答案")) << "no part of it";
}

TEST_F(SessionWindowTest, ItsCloseButtonEndsTheSessionAndTheMainWindowComesBack) {
    start();
    QWidget mainWindow;
    window_->setMainWindow(&mainWindow);
    EXPECT_EQ(box().isReadOnly(), !page().isTranslating());
    QTest::mouseClick(&part<QToolButton>("closeButton"), Qt::LeftButton);
    EXPECT_TRUE(page().isClosing());
    EXPECT_FALSE(window_->isVisible());
    EXPECT_TRUE(waitFor([&mainWindow] { return mainWindow.isVisible(); }));
    page().sendQuestion("迟到的问题");
    EXPECT_EQ(answers().model()->rowCount(), 0) << "no list follows a session that has closed";
}

TEST_F(SessionWindowTest, ClosingItAsksWhatBecomesOfItsText) {
    openActive();
    final("Why?");
    ASSERT_TRUE(asked(1));
    answerPiece("答案");
    ASSERT_TRUE(waitFor([this] { return texts(answers()) == "1:答案"; }));
    const auto card = [this] { return window_->findChild<CommonTipView*>(); };
    window_->close();
    ASSERT_TRUE(window_->isVisible() && card() != nullptr);
    press(Qt::Key_Escape);
    ASSERT_TRUE(waitFor([&] { return card() == nullptr; }));
    EXPECT_FALSE(page().isClosing()) << "it goes on";
    window_->close();
    card()->sureButton()->click();
    EXPECT_TRUE(page().isClosing() && !window_->isVisible());
    EXPECT_EQ(QApplication::clipboard()->text(), "面试记录\nWhy?\n\nAI回答\n答案");
}

TEST_F(SessionWindowTest, EveryPartStandsWhereItBelongs) {
    for (const bool manual : {false, true}) {
        settings_.setAiInterviewSetModel(interview(manual ? 1 : 0));
        start();
        const QRect list = place(transcript()), question = manual ? place(box()) : list;
        EXPECT_EQ(list, QRect(16, place(part("timeLabel")).bottom() + 1 + 11, 968, manual ? 175 : 245));
        EXPECT_TRUE(!manual || question == QRect(16, list.bottom() + 1 + 23, 968, 175));
        EXPECT_EQ(place(answers()), QRect(QPoint(16, question.bottom() + 1 + 23), QPoint(983, 683)));
    }
    EXPECT_LE(place(*box().viewport()).right(), place(answerButton()).left()) << "no words under the button";
    EXPECT_TRUE(answers().accessibleDescription().contains("Ctrl+Enter"));
}

TEST_F(SessionWindowTest, AClickOnThePinLetsTheWindowGoAndTakesItBack) {
    start();
    becomeActive();
    EXPECT_EQ(window_->windowTitle().toStdString(), "AI面试");
    EXPECT_EQ(window_->size(), QSize(1000, 700));
    EXPECT_TRUE(floats());
    const QImage pinned = pin().grab().toImage();
    QTest::mouseMove(window_.get(), {300, 300});
    QTest::mouseMove(&pin(), {13, 13});
    ASSERT_TRUE(waitFor([this] { return tip().isVisible(); }));
    EXPECT_EQ(tip().text().toStdString(), "取消置顶");
    EXPECT_EQ(tip().geometry().bottom() + 1, pin().y() - 2);
    QTest::mouseClick(&pin(), Qt::LeftButton);
    EXPECT_FALSE(floats());
    EXPECT_EQ(tip().text().toStdString(), "置顶");
    EXPECT_NE(pin().grab().toImage(), pinned) << "another picture";
    QTest::mouseClick(&pin(), Qt::LeftButton);
    EXPECT_TRUE(floats());
    QTest::mouseMove(window_.get(), {300, 300});
    EXPECT_TRUE(waitFor([this] { return !tip().isVisible(); }));
}

TEST_F(SessionWindowTest, IsMovedByItsGroundAndResizedAtItsEdges) {
    start();
    window_->setGeometry(100, 50, 1000, 700);
    EXPECT_EQ(dragged({300, 20}, {40, 30}), QRect(140, 80, 1000, 700));
    EXPECT_EQ(dragged({998, 300}, {50, 0}), QRect(140, 80, 1050, 700));
    EXPECT_EQ(dragged({1, 698}, {30, -100}), QRect(170, 80, 1020, 600));
    EXPECT_EQ(dragged({500, 1}, {0, 20}), QRect(170, 100, 1020, 580));
    EXPECT_EQ(dragged({500, 1}, {0, 2000}).bottom(), 679) << "its lower edge stays";
    window_->setGeometry(170, 100, 1020, 580);
    EXPECT_EQ(dragged({1018, 300}, {-2000, 0}).size(), QSize(window_->minimumWidth(), 580))
        << "not smaller than it can be used";
    EXPECT_EQ(place(answers()).bottom(), window_->height() - 17);
    EXPECT_EQ(dragged({1, 300}, {2000, 0}).left(), 170) << "its right edge stays";
}

TEST(SessionLayoutTest, NothingOverlapsInTheSmallestWindowWithLargeText) {
    const QRect page(0, 0, 480, 420);
    for (const int text : {13, 20, 34}) { // of tips, at a font scale of 1, 1.5 and more
        const int header = SessionLayout::headerFor(text * 14 / 10, text);
        const SessionLayout layout =
            SessionLayout::of(page.size(), true, {header, 6 * text, 4 * text, {900, header}, {5 * text, 2 * text}});
        int above = 0;
        for (const QRect& part : {layout.timeLabel, layout.transcript, layout.questionBox, layout.answers}) {
            EXPECT_TRUE(page.contains(part) && part.top() > above && part.height() >= 26) << part.top();
            above = part.bottom();
        }
        EXPECT_TRUE(page.contains(layout.tip({80, text}))) << text;
        EXPECT_GT(layout.status.left(), layout.timeLabel.right());
        EXPECT_LT(layout.status.right(), layout.hasTitle ? 240 - 2 * text : layout.pin.left()) << "not into the title";
        EXPECT_GE(layout.status.width(), 96) << "the title yields to it";
        EXPECT_TRUE(layout.questionBox.contains(layout.answerButton));
        EXPECT_GE(layout.answerButton.width(), 5 * text) << "its text is whole";
    }
}

TEST(WindowLevelTest, OnAWaylandDesktopThatRunsX11ProgramsX11IsChosenUnlessTheUserChose) {
    EXPECT_TRUE(platformHasLevels("xcb") && !platformHasLevels("wayland-egl"));
    EXPECT_EQ(platformWithLevels({"", "wayland-0", ":0"}), "xcb;wayland");
    EXPECT_EQ(platformWithLevels({"", "wayland-0", ""}), std::nullopt);
    EXPECT_EQ(platformWithLevels({"wayland", "wayland-0", ":0"}), std::nullopt);
}

} // namespace
} // namespace parlowen::testing
