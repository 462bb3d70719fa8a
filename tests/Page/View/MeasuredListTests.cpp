#include <Page/View/MeasuredList.h>
#include <Tools/PopView/SystemFont.h>
#include <gmock/gmock.h>

#include <QScrollBar>
#include <QStandardItemModel>
#include <QTest>
#include <QWheelEvent>
#include <support/WaitFor.h>

namespace parlowen {
namespace {

class MeasuredListTest : public ::testing::Test {
protected:
    MeasuredListTest() {
        list_.setModel(&model_);
        list_.setNominalRowHeight(nominal_);
        list_.resize(300, 200);
        list_.show();
    }

    static QStandardItem* item(const QString& text) {
        auto* made = new QStandardItem;
        made->setData(systemFont(14), Qt::FontRole);
        made->setData(text, AiInterviewAiCellMac::answerRole);
        return made;
    }

    void add(int rows, const QString& text = "请介绍一下你自己，以及你最近做过的一个项目。") {
        list_.keepPlace([&] {
            for (int i = 0; i < rows; ++i)
                model_.appendRow(item(text));
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

    const int nominal_ = TextCell::nominalHeight(systemFont(14));
    QStandardItemModel model_;
    AiInterviewAiCellMac* cell_ = new AiInterviewAiCellMac;
    MeasuredList list_{cell_, nullptr};
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
    EXPECT_EQ(list_.rowHeight(99), cell_->measure(model_.index(99, 0), list_.viewport()->width()));
}

TEST_F(MeasuredListTest, AReaderWhoScrolledBackKeepsThePlaceUntilNearTheEndAgain) {
    add(60);
    wheel(10);
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

TEST_F(MeasuredListTest, ARowStandsWholeOnTopWhileTheEndIsFollowed) {
    add(40);
    for (int height = 150; height < 200; height += 7) {
        list_.resize(300, height);
        grow(39, QString("长").repeated(height / 2));
        EXPECT_EQ(scrolled(), end());
        EXPECT_GE(list_.rowViewportPosition(list_.rowAt(0)), -8) << height << ": what is cut off is blank";
        EXPECT_LE(list_.rowViewportPosition(39) + list_.rowHeight(39), list_.viewport()->height()) << height;
    }
}

TEST_F(MeasuredListTest, AChangedWidthMeasuresTheRowsInSightAtOnceAndTheOthersBehindThem) {
    add(3'000);
    list_.verticalScrollBar()->setValue(end() / 2);
    const int row = list_.rowAt(0);
    const auto right = [this](int which) {
        return list_.rowHeight(which) == cell_->measure(model_.index(which, 0), list_.viewport()->width());
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
    ASSERT_TRUE(testing::waitFor([this] { return list_.isMeasured(); }));
    EXPECT_EQ(list_.rowAt(0), place);
    EXPECT_EQ(list_.rowViewportPosition(place), offset);
    EXPECT_TRUE(right(0) && right(2'999));
}

} // namespace
} // namespace parlowen
