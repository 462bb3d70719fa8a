#include "SessionRig.h"

#include <QFontMetrics>
#include <QLabel>
#include <QTest>

namespace parlowen {
namespace {

using testing::waitFor;

/// Texts, sizes, places and colours as they are on the rendered window; the parameter is the answer mode.
class SessionLooksTest : public SessionRig, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        single();
        settings_.setAiInterviewSetModel(interview(GetParam()));
        open();
    }
    bool isManual() const { return GetParam() == 1; }
    template<class Widget = QWidget>
    Widget& part(const char* name) {
        return *window_->findChild<Widget*>(name);
    }
    QRect place(const QWidget& widget) { return {widget.mapTo(window_.get(), QPoint()), widget.size()}; }
    /// The window on black, so that a colour without alpha is itself.
    QImage picture() {
        QImage image(window_->size(), QImage::Format_RGB32);
        image.fill(Qt::black);
        window_->render(&image, {}, {}, QWidget::DrawChildren);
        return image;
    }
    static bool hasColor(const QImage& image, const QRect& area, const QColor& color) {
        for (int y = area.top(); y <= area.bottom(); ++y) {
            for (int x = area.left(); x <= area.right(); ++x) {
                if (image.pixelColor(x, y) == color)
                    return true;
            }
        }
        return false;
    }
};

TEST_P(SessionLooksTest, EveryPartStandsWhereItBelongs) {
    const QRect time = place(part("timeLabel"));
    const QRect list = place(transcript());
    const int share = isManual() ? 175 : 245;
    const QRect box = isManual() ? place(part("textView")) : QRect();
    const int answersTop = list.top() + share + 23 + (isManual() ? 175 + 23 : 0);
    const struct {
        const char* what;
        QRect found, expected;
    } places[] = {
        {"transcript", list, QRect(16, time.bottom() + 1 + 11, 968, share)},
        {"answers", place(answers()), QRect(16, answersTop, 968, 684 - answersTop)},
        {"box", box, isManual() ? QRect(16, list.bottom() + 1 + 23, 968, 175) : QRect()},
        {"pin", place(part("topImg")), QRect(924, time.center().y() - 12, 26, 26)},
        {"button", isManual() ? place(answerButton()) : QRect(),
         isManual() ? QRect(1000 - 23 - 85, box.bottom() + 1 - 10 - 35, 85, 35) : QRect()},
    };
    EXPECT_EQ(time.topLeft(), QPoint(16, 16));
    for (const auto& [what, found, expected] : places)
        EXPECT_EQ(found, expected) << what;
    EXPECT_EQ(this->box().isVisible(), isManual());
    EXPECT_EQ(answerButton().isVisible(), isManual());
}

TEST_P(SessionLooksTest, TextsAndFontsAreThoseOfTheirParts) {
    auto& time = part<QLabel>("timeLabel");
    EXPECT_EQ(time.text().toStdString(), "00:00:00");
    EXPECT_EQ(answerButton().text().toStdString(), "回答");
    const struct {
        const QWidget& widget;
        int size;
    } fonts[] = {{time, 14}, {part("tipLab"), 10}, {box(), 15}, {answerButton(), 14}};
    for (const auto& [widget, size] : fonts)
        EXPECT_EQ(widget.font().pixelSize(), size) << widget.objectName().toStdString();
    EXPECT_FALSE(part("tipLab").isVisible());
    EXPECT_EQ(part("tipLab").palette().color(QPalette::WindowText), QColor(15, 227, 189));
}

TEST_P(SessionLooksTest, FramesAndGroundsHaveTheirColours) {
    const QColor accent(0x19, 0xCF, 0xAE);
    const QColor darkGrey(0x55, 0x55, 0x55);
    final("WWWW");
    window_->setGroundOpacity(100);
    const QImage image = picture();
    const QColor ground = image.pixelColor(400, 8);
    EXPECT_EQ(ground, QColor(0x1D, 0x1E, 0x1F));
    std::vector<QRect> framed{place(transcript()).marginsAdded({2, 2, 2, 2}),
                              place(answers()).marginsAdded({2, 2, 2, 2})};
    if (isManual())
        framed.push_back(place(box()));
    for (const QRect& frame : framed) {
        for (const QPoint point : {QPoint(frame.left(), frame.center().y()), QPoint(frame.right(), frame.center().y()),
                                   QPoint(frame.center().x(), frame.top()), QPoint(frame.center().x(), frame.bottom())})
            EXPECT_EQ(image.pixelColor(point), darkGrey) << point.x() << ' ' << point.y();
        EXPECT_EQ(image.pixelColor(frame.left() + 1, frame.center().y()), QColor(0x2F, 0x30, 0x31)) << "a hairline";
        EXPECT_EQ(image.pixelColor(frame.center() + QPoint(200, 0)), ground) << "nothing behind the text";
        EXPECT_EQ(image.pixelColor(frame.topLeft()), ground) << "a round corner";
    }
    const QRect row = transcript().visualRect(transcript().model()->index(0, 0));
    const QPoint list = place(transcript()).topLeft();
    const int prefix =
        QFontMetrics(transcript().model()->index(0, 0).data(Qt::FontRole).value<QFont>()).horizontalAdvance("1:");
    const QRect number(list + row.topLeft() + QPoint(11, 0), QSize(prefix, row.height()));
    EXPECT_TRUE(hasColor(image, number, accent));
    EXPECT_FALSE(hasColor(image, number.translated(prefix + 1, 0).adjusted(0, 0, 40, 0), accent));
    EXPECT_TRUE(hasColor(image, number.translated(prefix, 0).adjusted(0, 0, 40, 0), Qt::white));
    if (isManual()) {
        EXPECT_EQ(image.pixelColor(place(answerButton()).topLeft() + QPoint(8, 8)), accent);
        const QPoint text = box().viewport()->mapTo(&box(), box().cursorRect(QTextCursor(box().document())).topLeft());
        EXPECT_EQ(text, QPoint(6 + 4 + 2, 6 + 2)) << "the text's own room, clear of the box's round frame";
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, SessionLooksTest, ::testing::Values(0, 1),
                         [](const auto& mode) { return mode.param == 1 ? "AnswersOnRequest" : "AnswersByThemselves"; });

} // namespace
} // namespace parlowen
