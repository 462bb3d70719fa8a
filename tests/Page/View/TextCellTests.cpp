#include <Network/KXTranslationHistoryDetailsModel.h>
#include <Page/View/TextCell.h>
#include <Tools/PopView/SystemFont.h>
#include <gmock/gmock.h>

#include <QImage>
#include <QPainter>
#include <QStandardItemModel>

namespace parlowen {
namespace {

constexpr int width = 300;

class TextCellTest : public ::testing::Test {
protected:
    TextCellTest() {
        item_->setData(systemFont(14), Qt::FontRole);
        model_.appendRow(item_);
    }

    void showSentence(const QString& source, const QString& result = {}) {
        KXTranslationHistoryDetailsModel row;
        row.index = 7;
        row.sourceText = source;
        row.resultText = result;
        item_->setData(QVariant::fromValue(row), AiInterviewCellMac::modelRole);
    }

    /// The cell drawn on black, in a rectangle of the measured height; what lies below belongs to the next row.
    QImage drawn(const TextCell& cell, int height) {
        QImage image(width, height + 100, QImage::Format_RGB32);
        image.fill(Qt::black);
        QPainter painter(&image);
        QStyleOptionViewItem option;
        option.rect = QRect(0, 0, width, height);
        cell.paint(&painter, option, model_.index(0, 0));
        return image;
    }

    static int lastInkedRow(const QImage& image) {
        for (int y = image.height() - 1; y >= 0; --y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y).value() > 60)
                    return y;
            }
        }
        return -1;
    }

    QStandardItemModel model_;
    QStandardItem* item_ = new QStandardItem;
};

TEST_F(TextCellTest, TheHeightFollowsTheTextExactly) {
    const AiInterviewCellMac cell;
    int before = 0;
    for (const QString& text :
         {QString("短句"), QString("Tell me about it. ").repeated(12), QString("一行\n二行").repeated(9)}) {
        showSentence(text);
        const int height = cell.measure(model_.index(0, 0), width);
        EXPECT_GT(height, before);
        const int last = lastInkedRow(drawn(cell, height));
        EXPECT_LT(last, height - 4) << "nothing is cut off";
        EXPECT_GT(last, height - 4 - 4 - 14) << "nothing is left empty";
        before = height;
    }
}

TEST_F(TextCellTest, TheTranslationStandsUnderTheSentence) {
    const AiInterviewCellMac cell;
    showSentence("one line");
    const int plain = cell.measure(model_.index(0, 0), width);
    EXPECT_EQ(plain, TextCell::nominalHeight(systemFont(14)));
    const QImage finished = drawn(cell, plain);
    item_->setData(true, AiInterviewCellMac::unfinishedRole);
    EXPECT_NE(drawn(cell, plain), finished) << "a sentence in progress looks so";
    EXPECT_EQ(cell.text(model_.index(0, 0)).toStdString(), "one line") << "and is copied as it is";
    item_->setData(false, AiInterviewCellMac::unfinishedRole);
    EXPECT_EQ(drawn(cell, plain), finished);
    showSentence("one line", "una línea");
    // another line, 4 above and 8 below it instead of 4 below the sentence
    EXPECT_EQ(cell.measure(model_.index(0, 0), width), plain + (plain - 16) + 4 + 8 - 4);
}

} // namespace
} // namespace parlowen
