#include "support/WidgetTest.h"
#include <Page/View/MeasuredList.h>
#include <Page/View/ReadingList.h>
#include <Tools/PopView/SystemFont.h>

namespace parlowen::testing {
namespace {

QStandardItem* rowOf(const QString& text) {
    auto* made = new QStandardItem;
    made->setData(systemFont(14), Qt::FontRole);
    made->setData(text, AiInterviewAiCellMac::answerRole);
    return made;
}

template<class List>
struct ListTest : ::testing::Test {
    ListTest() {
        list_.setModel(&model_);
        list_.setNominalRowHeight(nominal_);
        list_.resize(300, 200);
        list_.show();
    }

    const int nominal_ = TextCell::nominalHeight(systemFont(14));
    QStandardItemModel model_;
    AiInterviewAiCellMac* cell_ = new AiInterviewAiCellMac;
    List list_{cell_, nullptr};
};

struct ReadingListTest : ListTest<ReadingList> {
    ReadingListTest() {
        list_.activateWindow();
        EXPECT_TRUE(waitFor([this] { return list_.hasFocus(); }));
        QApplication::clipboard()->clear();
    }
    void add(const QString& text) {
        list_.keepPlace([&] { model_.appendRow(rowOf(text)); });
    }
    void addThree() {
        for (const char* text : {"alpha beta gamma", "delta", "epsilon zeta"})
            add(QString::fromUtf8(text));
    }
    void addMany(int count, const char* rest = "") {
        for (int i = 0; i < count; ++i)
            add(QString("sentence number %1").arg(i) + rest);
    }
    bool isAtEnd() const { return list_.verticalScrollBar()->value() == list_.verticalScrollBar()->maximum(); }
    void press(const std::vector<Qt::Key>& keys, Qt::KeyboardModifiers modifiers = {}) {
        for (const Qt::Key key : keys)
            QTest::keyClick(&list_, key, modifiers);
    }
    /// The left side of a character, in the middle of its line.
    QPoint at(int row, int offset) {
        const QRect area = list_.visualRect(model_.index(row, 0));
        for (int x = 0; x < area.width(); ++x) {
            if (cell_->offsetAt(model_.index(row, 0), area.width(), {x, 16}) >= offset)
                return area.topLeft() + QPoint(x, 16);
        }
        return area.topRight();
    }
    void drag(QPoint from, QPoint to) {
        QTest::mousePress(list_.viewport(), Qt::LeftButton, {}, from);
        QTest::mouseMove(list_.viewport(), (from + to) / 2);
        QTest::mouseMove(list_.viewport(), to);
    }
    void release(QPoint at) { QTest::mouseRelease(list_.viewport(), Qt::LeftButton, {}, at); }
    /// What is copied behind those keys.
    std::string copied(const std::vector<Qt::Key>& keys = {}, Qt::KeyboardModifiers modifiers = {}) {
        press(keys, modifiers);
        press({Qt::Key_C}, Qt::ControlModifier);
        return QApplication::clipboard()->text().toStdString();
    }
    void takeFocusByKeys() {
        list_.clearFocus();
        list_.setFocus(Qt::TabFocusReason);
    }
};

TEST_F(ReadingListTest, ADragMarksFromCharacterToCharacterAcrossRows) {
    addThree();
    const QImage before = list_.grab().toImage();
    drag(at(0, 6), at(2, 7));
    release(at(2, 7));
    EXPECT_EQ(list_.markedText().toStdString(), "beta gamma\ndelta\nepsilon");
    EXPECT_EQ(copied(), "beta gamma\ndelta\nepsilon");
    const QImage marked = list_.grab().toImage();
    const QPoint inMark = at(1, 2) - QPoint(0, 8);
    EXPECT_NE(marked.pixel(inMark), before.pixel(inMark)) << "what is marked is seen";
    press({Qt::Key_Escape});
    EXPECT_TRUE(list_.markedText().isEmpty());
    EXPECT_EQ(list_.grab().toImage(), before);
    drag(at(0, 0), at(1, 5));
    release(at(1, 5));
    model_.item(1)->setData("del", AiInterviewAiCellMac::answerRole);
    add("eta");
    EXPECT_EQ(copied(), "alpha beta gamma\ndel") << "of a text that became shorter, what is left";
    model_.removeRows(0, 4);
    EXPECT_TRUE(list_.markedText().isEmpty());
}

TEST_F(ReadingListTest, ADoubleClickMarksAWordAndATripleClickARow) {
    addThree();
    const QPoint word = at(0, 8);
    QTest::mouseDClick(list_.viewport(), Qt::LeftButton, {}, word);
    EXPECT_EQ(list_.markedText().toStdString(), "beta");
    QTest::mouseClick(list_.viewport(), Qt::LeftButton, {}, word);
    EXPECT_EQ(list_.markedText().toStdString(), "alpha beta gamma");
    QTest::mouseClick(list_.viewport(), Qt::LeftButton, Qt::ShiftModifier, at(1, 3));
    EXPECT_EQ(list_.markedText().toStdString(), "alpha beta gamma\ndel");
    QTest::mouseDClick(list_.viewport(), Qt::LeftButton, {}, word);
    QTest::mouseClick(list_.viewport(), Qt::LeftButton, {}, at(2, 3));
    EXPECT_TRUE(list_.markedText().isEmpty()) << "a quick click elsewhere is a click";
}

TEST_F(ReadingListTest, KeysMarkAndCopyARowSomeRowsAndAll) {
    const std::string all = "alpha beta gamma\ndelta\nepsilon zeta";
    EXPECT_EQ(copied({Qt::Key_Down}), "") << "an empty list has nothing";
    addThree();
    takeFocusByKeys();
    EXPECT_EQ(copied(), "epsilon zeta") << "the newest, which the list follows";
    EXPECT_EQ(copied({Qt::Key_Up}), "delta");
    EXPECT_EQ(copied({Qt::Key_Up}, Qt::ShiftModifier), "alpha beta gamma\ndelta");
    press({Qt::Key_Escape, Qt::Key_Down, Qt::Key_Down});
    EXPECT_EQ(copied({Qt::Key_Up, Qt::Key_Up}, Qt::ShiftModifier), all) << "from where the marking began";
    press({Qt::Key_Escape});
    EXPECT_EQ(copied({Qt::Key_A}, Qt::ControlModifier), all);
}

TEST_F(ReadingListTest, NothingMovesUnderAPointerThatMarksButBeyondTheEdgeItScrolls) {
    addMany(30);
    const QScrollBar& bar = *list_.verticalScrollBar();
    const int place = bar.value();
    const QPoint start(40, 60);
    drag(start, {80, 100});
    add("one more");
    EXPECT_EQ(bar.value(), place);
    QTest::mouseMove(list_.viewport(), {80, -40});
    ASSERT_TRUE(waitFor([&] { return bar.value() < place - 200; }));
    release({80, -40});
    EXPECT_GT(list_.markedText().count(u'\n'), 5);
    list_.scrollToEnd();
    add("and one");
    EXPECT_TRUE(isAtEnd()) << "it follows again";
}

TEST_F(ReadingListTest, ADragWhoseReleaseNeverComesEndsAllTheSame) {
    const std::pair<const char*, std::function<void()>> ends[] = {
        {"without focus", [this] { list_.clearFocus(); }},
        {"its rows gone", [this] { list_.keepPlace([this] { model_.removeRows(0, 10); }); }},
        {"hidden", [this] { list_.hide(); }}};
    const QScrollBar& bar = *list_.verticalScrollBar();
    for (const auto& [what, act] : ends) {
        addMany(30);
        drag({40, 60}, {80, -40});
        ASSERT_TRUE(waitFor([&] { return bar.value() < bar.maximum() - 20; })) << what;
        act();
        const int place = bar.value();
        QTest::mouseMove(list_.viewport(), {80, 60});
        EXPECT_TRUE(holdsFor([&] { return bar.value() == place; }, 100)) << what << ": it scrolls no more";
        list_.show();
        list_.setFocus();
        list_.scrollToEnd();
        add("and one");
        EXPECT_TRUE(isAtEnd()) << what << ": it follows again";
        release({80, 60});
    }
}

TEST_F(ReadingListTest, AMarkLeadsBackToNewerTextAndCoversNoWords) {
    auto& mark = *list_.findChild<QPushButton*>("newer");
    addMany(30, " that fills its line from side to side");
    EXPECT_FALSE(mark.isVisible());
    list_.verticalScrollBar()->setValue(0);
    ASSERT_TRUE(mark.isVisible());
    const QImage image = list_.grab().toImage();
    EXPECT_EQ(image.pixelColor(mark.x() - 2, mark.geometry().center().y()), image.pixelColor(1, 1)) << "no words";
    takeFocusByKeys();
    press(std::vector<Qt::Key>(6, Qt::Key_Down));
    EXPECT_LT(list_.visualRect(list_.currentIndex()).bottom(), mark.y()) << "the row that the keys are on";
    add("one more");
    add("and one");
    EXPECT_THAT(mark.text().toStdString(), HasSubstr("2"));
    QTest::mouseClick(&mark, Qt::LeftButton);
    EXPECT_TRUE(isAtEnd() && !mark.isVisible());
    press({Qt::Key_PageUp, Qt::Key_Home});
    EXPECT_EQ(list_.verticalScrollBar()->value(), 0);
    EXPECT_THAT(mark.text().toStdString(), Not(HasSubstr("2"))) << "they have been seen";
    press({Qt::Key_End, Qt::Key_PageUp});
    EXPECT_TRUE(mark.isVisible());
}

TEST_F(ReadingListTest, AnotherFontKeepsTheReadersPlace) {
    addMany(60);
    const auto enlarge = [this](int size) {
        list_.changeFont(
            [&] {
                for (int i = 0; i < model_.rowCount(); ++i)
                    model_.item(i)->setData(systemFont(size), Qt::FontRole);
            },
            TextCell::nominalHeight(systemFont(size)));
        ASSERT_TRUE(waitFor([this] { return list_.isMeasured(); }));
    };
    enlarge(18);
    EXPECT_TRUE(isAtEnd());
    list_.verticalScrollBar()->setValue(400);
    const int row = list_.rowAt(0);
    enlarge(24);
    EXPECT_EQ(list_.rowAt(0), row);
    EXPECT_EQ(list_.rowHeight(row), TextCell::nominalHeight(systemFont(24)));
}

TEST_F(ReadingListTest, KeysReadARowThatIsHigherThanTheViewToItsEnd) {
    add("first");
    add(QString("长").repeated(600));
    add("last");
    list_.verticalScrollBar()->setValue(0);
    takeFocusByKeys();
    EXPECT_EQ(list_.currentIndex().row(), 0);
    press({Qt::Key_Down});
    int presses = 0;
    for (; list_.currentIndex().row() == 1 && presses < 100; ++presses)
        press({Qt::Key_Down});
    EXPECT_GT(presses, 3);
    EXPECT_EQ(list_.currentIndex().row(), 2);
    EXPECT_LT(list_.visualRect(list_.currentIndex()).bottom(), list_.viewport()->height());
}

struct MeasuredListTest : ListTest<MeasuredList> {
    void add(int rows, const QString& text = "请介绍一下你自己，以及你最近做过的一个项目。") {
        list_.keepPlace([&] {
            for (int i = 0; i < rows; ++i)
                model_.appendRow(rowOf(text));
        });
    }
    void grow(int row, const QString& text) {
        list_.keepPlace([&] { model_.item(row)->setData(text, AiInterviewAiCellMac::answerRole); });
    }
    /// Turns the wheel; notches above 0 scroll back.
    void wheel(int notches) {
        const QPointF center = list_.viewport()->rect().center();
        for (int i = 0; i < std::abs(notches); ++i) {
            QWheelEvent event(center, list_.viewport()->mapToGlobal(center), {}, {0, notches > 0 ? 120 : -120},
                              Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(list_.viewport(), &event);
        }
    }
    int scrolled() const { return list_.verticalScrollBar()->value(); }
    int end() const { return list_.verticalScrollBar()->maximum(); }
};

TEST_F(MeasuredListTest, MeasuresARowWhenItComesAndWhenItChanges) {
    add(100);
    EXPECT_EQ(cell_->measurements(), 100);
    wheel(20);
    list_.grab();
    EXPECT_EQ(cell_->measurements(), 100) << "scrolling and painting measure nothing";
    list_.scrollToEnd();
    grow(99, QString("长").repeated(500));
    EXPECT_EQ(cell_->measurements(), 101);
    EXPECT_GT(list_.rowHeight(99), list_.viewport()->height()) << "higher than the view";
    EXPECT_EQ(scrolled(), list_.contentHeight() - list_.viewport()->height()) << "it follows its end";
    EXPECT_EQ(list_.rowHeight(99), cell_->measure(model_.index(99, 0), list_.viewport()->width()).height);
}

TEST_F(MeasuredListTest, ARowThatChangesIsPaintedWhereItChangedAndLooksAsAWholePaintWould) {
    const auto onScreen = [this] {
        QApplication::processEvents();
        return list_.screen()->grabWindow(list_.winId()).toImage();
    };
    const auto wholePaint = [this] {
        list_.viewport()->update();
        QApplication::processEvents();
        return list_.screen()->grabWindow(list_.winId()).toImage();
    };
    add(3);
    QString text;
    const QStringList pieces = {
        "word", " and", QString("长").repeated(60), "，", " (a, b)", "\n\nnew line", " Ågf", "שלום 12", " and again"};
    for (int i = 0; i < 40; ++i) {
        text = i == 30 ? text.left(text.size() / 3) : text + pieces[i % pieces.size()];
        grow(1, text);
        list_.keepPlace([&] {
            model_.item(1)->setData(i % 7 == 6 ? QString("a note") : QString(), AiInterviewAiCellMac::noteRole);
        });
        const QImage shown = onScreen();
        ASSERT_FALSE(shown.isNull());
        ASSERT_EQ(shown, wholePaint()) << i;
    }
}

TEST_F(MeasuredListTest, AReaderWhoScrolledBackKeepsThePlaceUntilNearTheEndAgain) {
    add(60);
    wheel(1);
    EXPECT_FALSE(list_.isNearBottom()) << "one notch gets away from a list that follows";
    wheel(9);
    const int place = scrolled();
    ASSERT_LT(place, end() - 2 * nominal_);
    for (int i = 0; i < 20; ++i) {
        add(1);
        EXPECT_EQ(scrolled(), place);
        grow(model_.rowCount() - 1, QString("长").repeated(30 * i));
        EXPECT_EQ(scrolled(), place);
    }
    grow(2, QString("长").repeated(400));
    EXPECT_GT(scrolled(), place) << "what is read stays when a row above grows";
    list_.verticalScrollBar()->setValue(end() - 2 * nominal_);
    EXPECT_FALSE(list_.isNearBottom());
    list_.verticalScrollBar()->setValue(end() - 2 * nominal_ + 1);
    EXPECT_TRUE(list_.isNearBottom());
    add(1);
    EXPECT_EQ(scrolled(), end());
}

TEST_F(MeasuredListTest, AChangedWidthMeasuresTheRowsInSightAtOnceAndTheOthersBehindThem) {
    add(3'000);
    list_.verticalScrollBar()->setValue(end() / 2);
    const int row = list_.rowAt(0);
    const auto right = [this](int which) {
        return list_.rowHeight(which) == cell_->measure(model_.index(which, 0), list_.viewport()->width()).height;
    };
    const int before = cell_->measurements();
    list_.resize(180, 200);
    EXPECT_LT(cell_->measurements() - before, 40);
    EXPECT_EQ(list_.rowAt(0), row);
    for (int which = row; which <= list_.rowAt(list_.viewport()->height() - 1); ++which)
        EXPECT_TRUE(right(which)) << which;
    EXPECT_FALSE(list_.isMeasured());
    wheel(-40);
    EXPECT_TRUE(right(list_.rowAt(0))) << "a row that comes into sight meanwhile";
    const int place = list_.rowAt(0);
    const int offset = list_.rowViewportPosition(place);
    ASSERT_TRUE(waitFor([this] { return list_.isMeasured(); }));
    EXPECT_EQ(list_.rowAt(0), place);
    EXPECT_EQ(list_.rowViewportPosition(place), offset);
    EXPECT_TRUE(right(0) && right(2'999));
}

} // namespace
} // namespace parlowen::testing
