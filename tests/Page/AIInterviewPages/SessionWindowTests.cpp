#include "WindowRig.h"

#include <Page/AIInterviewPages/SessionLayout.h>
#include <Page/AIInterviewPages/WindowLevel.h>

namespace parlowen::testing {
namespace {

class SessionWindowTest : public WindowRig {
protected:
    QToolButton& pin() { return part<QToolButton>("topImg"); }
    QLabel& tip() { return part<QLabel>("tipLab"); }
    std::string time() { return part<QLabel>("timeLabel").text().toStdString(); }
    QRect place(const QWidget& widget) { return {widget.mapTo(window_.get(), QPoint()), widget.size()}; }
    bool floats() { return window_->windowHandle()->flags().testFlag(Qt::WindowStaysOnTopHint); }
    void happen(const std::vector<SessionEvent>& events) {
        for (const SessionEvent& event : events)
            Q_EMIT page().happened(event);
    }
    static KXTranslationHistoryDetailsModel row(const QString& text) {
        KXTranslationHistoryDetailsModel made;
        made.sourceText = text;
        return made;
    }
    static std::string texts(const ReadingList& list) {
        QStringList rows;
        for (int i = 0; i < list.model()->rowCount(); ++i)
            rows << list.model()->index(i, 0).data(Qt::AccessibleTextRole).toString();
        return rows.join(u'|').toStdString();
    }
    /// Drags with the left button, as the window system's events would.
    void drag(QPoint from, QPoint way) {
        const QPoint start = window_->mapToGlobal(from);
        const auto send = [&](QEvent::Type type, QPoint global, Qt::MouseButtons held) {
            const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
            QMouseEvent event(type, window_->mapFromGlobal(global), global, button, held, Qt::NoModifier);
            QCoreApplication::sendEvent(window_.get(), &event);
        };
        send(QEvent::MouseButtonPress, start, Qt::LeftButton);
        send(QEvent::MouseMove, start + way / 2, Qt::LeftButton);
        send(QEvent::MouseMove, start + way, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, start + way, Qt::NoButton);
    }
};

TEST_F(SessionWindowTest, ShowsWhatHappensInTheSession) {
    using namespace session;
    start();
    const QAbstractItemModelTester rows(transcript().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    const QAbstractItemModelTester answered(answers().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    happen({Partial{1, row("so tell")}});
    EXPECT_EQ(texts(transcript()), "1:so tell（识别中）");
    happen({Sentence{1, row("So tell me.")}, Missed{7}, Missed{5}, Sentence{2, row("Why?")}});
    EXPECT_EQ(texts(transcript()), "1:So tell me.|… 12 s 未听到 …|2:Why?");
    happen({Translated{2, row("Why not?")}});
    EXPECT_EQ(texts(transcript()), "1:So tell me.|… 12 s 未听到 …|2:Why not?");
    happen({Question{1, ""}, Question{2, ""}, AnswerPiece{2, "先说"}, AnswerPiece{2, "结论"}, AnswerEnded{1, {}},
            AnswerEnded{1, {AnswerEnd::Outcome::Cancelled, AnswerEnd::Cause::BrokenOff, {}}}});
    EXPECT_EQ(texts(answers()), "1:|2:先说结论");
    const int height = answers().rowHeight(1);
    happen({AnswerEnded{2, {AnswerEnd::Outcome::Failed, AnswerEnd::Cause::BrokenOff, {}}}});
    EXPECT_EQ(texts(answers()), "1:|2:先说结论（回答中断）");
    EXPECT_GT(answers().rowHeight(1), height) << "a line under the answer";
    EXPECT_EQ(answers().wholeText().toStdString(), "\n先说结论") << "no part of it";
    happen({Taken{}, Question{3, ""}, AnswerPiece{2, "迟到"}, AnswerPiece{3, "新"}});
    EXPECT_EQ(texts(answers()), "1:新");
    page().setUseTimeCount(3'599);
    EXPECT_EQ(time(), "00:59:59");
    page().setUseTimeCount(360'061);
    EXPECT_EQ(time(), "100:01:01");
    for (int i = 4; i < 20; ++i)
        happen({Question{i, ""}});
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

TEST_F(SessionWindowTest, EveryPartStandsWhereItBelongs) {
    for (const bool manual : {false, true}) {
        settings_.setAiInterviewSetModel(interview(manual ? 1 : 0));
        start();
        const QRect list = place(transcript());
        const int share = manual ? 175 : 245;
        const int answersTop = list.top() + share + 23 + (manual ? 175 + 23 : 0);
        EXPECT_EQ(list, QRect(16, place(part("timeLabel")).bottom() + 1 + 11, 968, share));
        EXPECT_EQ(place(answers()), QRect(16, answersTop, 968, 684 - answersTop));
    }
    EXPECT_LE(place(*box().viewport()).right(), place(answerButton()).left()) << "no words under the button";
    EXPECT_TRUE(answers().accessibleDescription().contains("Ctrl+Enter"));
    EXPECT_EQ(place(box()), QRect(16, place(transcript()).bottom() + 1 + 23, 968, 175));
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
    drag({300, 20}, {40, 30});
    EXPECT_EQ(window_->geometry(), QRect(140, 80, 1000, 700));
    drag({998, 300}, {50, 0});
    EXPECT_EQ(window_->geometry(), QRect(140, 80, 1050, 700));
    drag({1, 698}, {30, -100});
    EXPECT_EQ(window_->geometry(), QRect(170, 80, 1020, 600));
    drag({500, 1}, {0, 20});
    EXPECT_EQ(window_->geometry(), QRect(170, 100, 1020, 580));
    drag({500, 1}, {0, 2000});
    EXPECT_EQ(window_->geometry().bottom(), 679) << "its lower edge stays";
    window_->setGeometry(170, 100, 1020, 580);
    drag({1018, 300}, {-2000, 0});
    EXPECT_EQ(window_->size(), QSize(window_->minimumWidth(), 580)) << "not smaller than it can be used";
    EXPECT_EQ(place(answers()).bottom(), window_->height() - 17);
    drag({1, 300}, {2000, 0});
    EXPECT_EQ(window_->geometry().left(), 170) << "its right edge stays";
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
    const std::pair<DesktopEnvironment, std::optional<QByteArray>> cases[] = {
        {{"", "wayland-0", ":0"}, "xcb;wayland"},
        {{"", "wayland-0", ""}, std::nullopt},
        {{"wayland", "wayland-0", ":0"}, std::nullopt}};
    EXPECT_FALSE(platformHasLevels("wayland-egl"));
    EXPECT_TRUE(platformHasLevels("xcb"));
    for (const auto& [desktop, platform] : cases)
        EXPECT_EQ(platformWithLevels(desktop), platform)
            << desktop.chosenPlatform.toStdString() << desktop.waylandDisplay.toStdString();
}

} // namespace
} // namespace parlowen::testing
