#include <Page/View/TextBlock.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>
#include <gmock/gmock.h>

#include <QImage>
#include <QPainter>
#include <random>

namespace parlowen {
namespace {

constexpr int width = 260;

TextBlock blockOf(const QString& text) {
    TextBlock block("12:", systemFont(14), width);
    block.setText(text);
    return block;
}

QImage drawn(const TextBlock& block, std::pair<qsizetype, qsizetype> marked = {0, 0}) {
    QImage image(width, block.height() + 20, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setPen(Qt::white);
    block.draw(painter, {}, image.rect(), marked);
    return image;
}

/// Words of several scripts, with what line breaking is touchy about.
const char* const pieces[] = {"先说结论",
                              "，",
                              "。",
                              "word ",
                              "hyphen-ated ",
                              "averyveryverylongwordwithoutanybreak",
                              "\n",
                              "「",
                              "」，",
                              "123.5",
                              " ",
                              "e\u0301\u0301",
                              "قاعدة ",
                              "👩‍💻",
                              "\n\n\n"};

TEST(TextBlockTest, ATextThatChangesIsLaidOutLikeOneThatCameWhole) {
    for (unsigned seed = 0; seed < 6; ++seed) {
        std::mt19937 random(seed);
        // The fifth begins from the right, which turns all of it.
        QString text = seed == 5 ? QString("قاعدة ") : QString();
        TextBlock grown = blockOf(text);
        for (int i = 0; i < 120; ++i) {
            text += QString::fromUtf8(pieces[random() % std::size(pieces)]);
            if (i % 30 == 29) // any other change
                text.remove(static_cast<qsizetype>(random() % text.size()), 5);
            grown.setText(text);
            if (i % 10 != 9)
                continue;
            const TextBlock whole = blockOf(text);
            ASSERT_EQ(drawn(grown), drawn(whole)) << seed << ": " << text.toStdString();
        }
    }
}

TEST(TextBlockTest, PointsAreFoundWhereTheMarkIsDrawn) {
    const TextBlock block = blockOf(QString("一二三四五六七八九十").repeated(20));
    EXPECT_EQ(block.offsetAt({0, -50}), 0) << "above it, and in its number";
    EXPECT_GT(block.indent(), 10);
    EXPECT_EQ(block.offsetAt({width, 1e6}), 200);
    const QImage plain = drawn(block);
    for (const qsizetype offset : {0, 13, 57, 100, 199}) {
        const QImage marked = drawn(block, {offset, offset + 1});
        QRect ink;
        for (int y = 0; y < plain.height(); ++y) {
            for (int x = 0; x < plain.width(); ++x)
                ink |= plain.pixel(x, y) == marked.pixel(x, y) ? QRect() : QRect(x, y, 1, 1);
        }
        ASSERT_FALSE(ink.isEmpty()) << offset;
        EXPECT_LE(ink.width(), 16) << "one character";
        EXPECT_EQ(block.offsetAt(QPointF(ink.left() + 1, ink.center().y())), offset);
    }
}

} // namespace
} // namespace parlowen
