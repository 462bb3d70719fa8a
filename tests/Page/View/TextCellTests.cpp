#include <Page/View/AiInterviewAiCellMac.h>
#include <Page/View/AiInterviewCellMac.h>
#include <Page/View/KXTranslationHistoryDetailsModel.h>
#include <Tools/PopView/Colors.h>
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

    /// Horizontal pixels in which the accent colour is met at full strength, and pure white.
    static std::pair<int, int> firstOf(const QImage& image, const QColor& color, const QColor& other) {
        std::pair<int, int> first(-1, -1);
        for (int x = 0; x < image.width(); ++x) {
            for (int y = 0; y < image.height(); ++y) {
                if (first.first < 0 && image.pixelColor(x, y) == color)
                    first.first = x;
                if (first.second < 0 && image.pixelColor(x, y) == other)
                    first.second = x;
            }
        }
        return first;
    }

    QStandardItemModel model_;
    QStandardItem* item_ = new QStandardItem;
};

TEST_F(TextCellTest, TheHeightFollowsTheTextExactly) {
    const AiInterviewCellMac cell;
    int before = 0;
    for (const QString& text :
         {QString("短句"), QString("请介绍一下你自己。").repeated(6),
          QString("Tell me about yourself, please. ").repeated(12), QString("一行\n二行\n三行\n四行").repeated(5)}) {
        showSentence(text);
        const int height = cell.measure(model_.index(0, 0), width);
        EXPECT_GT(height, before);
        const int last = lastInkedRow(drawn(cell, height));
        EXPECT_LT(last, height - 4) << "nothing is cut off";
        EXPECT_GT(last, height - 4 - 4 - 14) << "nothing is left empty";
        before = height;
    }
}

TEST_F(TextCellTest, ARowOfOneLineHasTheNominalHeight) {
    const AiInterviewCellMac cell;
    showSentence("one line");
    EXPECT_EQ(cell.measure(model_.index(0, 0), width), TextCell::nominalHeight(systemFont(14)));
}

TEST_F(TextCellTest, TheTranslationStandsUnderTheSentence) {
    const AiInterviewCellMac cell;
    showSentence("one line");
    const int plain = cell.measure(model_.index(0, 0), width);
    const int line = plain - 16;
    showSentence("one line", "una línea");
    // 4 above and 8 below the translation instead of 4 below the sentence
    EXPECT_EQ(cell.measure(model_.index(0, 0), width), plain + line + 4 + 8 - 4);
}

TEST_F(TextCellTest, TheNumberIsInTheAccentColour) {
    const AiInterviewCellMac cell;
    showSentence("一一一一");
    const auto [accent, white] = firstOf(drawn(cell, 40), hexColor(theme::accent), Qt::white);
    EXPECT_GE(accent, 11);
    EXPECT_GT(white, accent);
}

TEST_F(TextCellTest, AnAnswersNumberIsItsRow) {
    const AiInterviewAiCellMac cell;
    item_->setData(QString(), AiInterviewAiCellMac::answerRole);
    const auto [accent, white] = firstOf(drawn(cell, 40), hexColor(theme::accent), Qt::white);
    EXPECT_GE(accent, 11);
    EXPECT_EQ(white, -1) << "nothing but the number before the answer comes";
}

} // namespace
} // namespace parlowen
