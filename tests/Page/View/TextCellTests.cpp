#include "Tools/PopView/Pixels.h"
#include <Network/KXTranslationHistoryDetailsModel.h>
#include <Page/View/BaseViewController.h>
#include <Page/View/TextBlock.h>
#include <Page/View/TextCell.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>
#include <random>

namespace parlowen::testing {
namespace {

constexpr int width = 300;

struct TextCellTest : ::testing::Test {
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

    QStandardItemModel model_;
    QStandardItem* item_ = new QStandardItem;
};

TEST_F(TextCellTest, TheHeightFollowsTheTextExactly) {
    const AiInterviewCellMac cell;
    int before = 0;
    for (const QString& text :
         {QString("短句"), QString("Tell me about it. ").repeated(12), QString("一行\n二行").repeated(9)}) {
        showSentence(text);
        const int height = cell.measure(model_.index(0, 0), width).height;
        EXPECT_GT(height, before);
        const int last = extent(drawn(cell, height), [](const QColor& c) { return c.value() > 60; }).bottom();
        EXPECT_LT(last, height - 4) << "nothing is cut off";
        EXPECT_GT(last, height - 4 - 4 - 14) << "nothing is left empty";
        before = height;
    }
}

TEST_F(TextCellTest, TheTranslationStandsUnderTheSentence) {
    const AiInterviewCellMac cell;
    showSentence("one line");
    const int plain = cell.measure(model_.index(0, 0), width).height;
    EXPECT_EQ(plain, TextCell::nominalHeight(systemFont(14)));
    const QImage finished = drawn(cell, plain);
    item_->setData(true, AiInterviewCellMac::unfinishedRole);
    EXPECT_NE(drawn(cell, plain), finished) << "a sentence in progress looks so";
    EXPECT_EQ(cell.text(model_.index(0, 0)).toStdString(), "one line") << "and is copied as it is";
    item_->setData(false, AiInterviewCellMac::unfinishedRole);
    EXPECT_EQ(drawn(cell, plain), finished);
    showSentence("one line", "una línea");
    // another line, 4 above and 8 below it instead of 4 below the sentence
    EXPECT_EQ(cell.measure(model_.index(0, 0), width).height, plain + (plain - 16) + 4 + 8 - 4);
}

constexpr int blockWidth = 260;

TextBlock blockOf(const QString& text) {
    TextBlock block("12:", systemFont(14), blockWidth);
    block.setText(text);
    return block;
}

QImage drawnBlock(const TextBlock& block) {
    QImage image(blockWidth, block.height() + 20, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setPen(Qt::white);
    block.draw(painter, {}, image.rect(), {0, 0});
    return image;
}

/// Words of several scripts, with what line breaking is touchy about.
const QStringList pieces = QString("先说结论|，|。|word |hyphen-ated |averyveryverylongwordwithoutanybreak|\n|「|」，|"
                                   "123.5| |e\u0301\u0301|قاعدة |👩‍💻|\n\n\n")
                               .split(u'|');

TEST(TextBlockTest, ATextThatChangesIsLaidOutLikeOneThatCameWhole) {
    for (unsigned seed = 0; seed < 6; ++seed) {
        std::mt19937 random(seed);
        // The fifth begins from the right, which turns all of it.
        QString text = seed == 5 ? QString("قاعدة ") : QString();
        TextBlock grown = blockOf(text);
        for (int i = 0; i < 120; ++i) {
            text += pieces[static_cast<qsizetype>(random() % 15)];
            if (i % 30 == 29) // any other change
                text.remove(static_cast<qsizetype>(random() % text.size()), 5);
            grown.setText(text);
            if (i % 10 != 9)
                continue;
            const TextBlock whole = blockOf(text);
            ASSERT_EQ(drawnBlock(grown), drawnBlock(whole)) << seed << ": " << text.toStdString();
        }
    }
}

/// Notes its steps; holds a label and a field that wants the keyboard.
class Page : public BaseViewController {
public:
    explicit Page(std::vector<std::string>& steps)
        : steps_(steps) {}

    QLineEdit* field_ = nullptr;

protected:
    void buildUserInterface() override {
        steps_.emplace_back("build");
        (new QLabel("█", this))->setGeometry(0, 0, 40, 20);
        field_ = new QLineEdit("█", this);
        field_->move(0, 40);
        field_->setFocus();
    }
    void buildLayout() override { steps_.emplace_back("layout"); }
    void viewWillAppear() override { steps_.emplace_back("will"); }
    void viewDidAppear() override { steps_.emplace_back("did"); }

private:
    std::vector<std::string>& steps_;
};

TEST(PageContainerTest, EverySwitchBuildsThePageAnewAndTellsItThatItAppears) {
    std::vector<std::string> steps;
    PageContainer container([&](int index) { return index == 0 ? new Page(steps) : nullptr; }, nullptr);
    container.resize(300, 200);
    container.showPage(0);
    EXPECT_THAT(steps, ElementsAre("build", "layout")) << "nothing is to be seen yet";
    const QPointer<BaseViewController> first = container.currentVC();
    container.show();
    container.activateWindow();
    ASSERT_TRUE(waitFor([&] { return steps.size() == 4; }));
    EXPECT_THAT(steps, ElementsAre("build", "layout", "will", "did"));
    container.resize(400, 300);
    EXPECT_EQ(first->geometry(), container.rect());
    steps.clear();
    container.showPage(0);
    EXPECT_FALSE(first->isVisible());
    EXPECT_THAT(steps, ElementsAre("build", "layout", "will"));
    ASSERT_TRUE(waitFor([&] { return first.isNull() && steps.size() == 4; }));
    const auto* page = dynamic_cast<Page*>(container.currentVC());
    EXPECT_TRUE(waitFor([page] { return !page->field_->hasFocus(); })) << "no field keeps the keyboard";
    container.showPage(7);
    EXPECT_EQ(container.currentVC()->geometry(), container.rect()) << "an index without a page";
}

TEST(PageContainerTest, APageIsReadableOnADarkDesktop) {
    const QPalette before = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(40, 40, 40), QColor(30, 30, 30)));
    std::vector<std::string> steps;
    Page page(steps);
    page.resize(200, 100);
    page.loadViewIfNeeded();
    const QImage image = page.grab().toImage();
    EXPECT_EQ(image.pixelColor(190, 90), hexColor(theme::pageGround));
    const auto darkest = [&image](const QRect& area) {
        int found = 255;
        for (int x = area.left(); x <= area.right(); ++x)
            found = std::min(found, image.pixelColor(x, area.center().y()).lightness());
        return found;
    };
    EXPECT_LT(darkest({0, 0, 40, 20}), 80) << "a label's text";
    EXPECT_LT(darkest(page.field_->geometry()), 80) << "a field's text";
    EXPECT_GT(image.pixelColor(page.field_->geometry().center() + QPoint(40, 0)).lightness(), 200) << "its ground";
    EXPECT_GT(page.palette().color(QPalette::Button).lightness(), 200);
    QApplication::setPalette(before);
}

} // namespace
} // namespace parlowen::testing
