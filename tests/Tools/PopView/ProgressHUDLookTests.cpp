#include "HudFixture.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QFontMetrics>
#include <QLabel>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace parlowen {
namespace {

using testing::waitFor;

class ProgressHUDLookTest : public HudFixture {
protected:
    /// A colour of the indicator, `place` from its top left corner.
    QColor inIndicator(QPointF place) { return picture(*hud_.indicator()).pixelColor(place.toPoint()); }
    QColor boxColor() const { return over(hud_.style.backgroud, hud_.opacity, ground_); }
};

TEST_F(ProgressHUDLookTest, StylesColourBoxTextAndIndicators) {
    const QColor grey = QColor::fromRgbF(0.95F, 0.95F, 0.95F);
    struct Case {
        ProgressHUDStyle style;
        QColor foreground, box;
        double opacity;
    };
    for (const Case& look : {Case{ProgressHUDStyle::dark(), grey, Qt::black, 0.9},
                             Case{ProgressHUDStyle::light(), Qt::black, Qt::white, 0.9},
                             Case{ProgressHUDStyle::custom(Qt::red, Qt::blue), Qt::red, Qt::blue, 0.5}}) {
        hud_.style = look.style;
        hud_.opacity = look.opacity;
        show(solid.repeated(4), ProgressHUDMode::success);
        const QImage image = picture();
        EXPECT_THAT(image.pixelColor(hud_.box().left() + 3, hud_.box().center().y()),
                    Looks(over(look.box, look.opacity, ground_)));
        EXPECT_THAT(image.pixelColor(hud_.statusLabel()->geometry().center()), Looks(look.foreground));
        EXPECT_THAT(inIndicator({0.31429 * 60, (1 - 0.19167) * 60}), Looks(look.foreground));
        hud_.hide(false);
    }
}

/// The box's size comes from what it holds: without text, with one line, with two, and with nothing.
TEST_F(ProgressHUDLookTest, TheBoxIsAsLargeAsItsContentAndStandsWhereAskedFor) {
    QFont font = systemFont(18);
    const QString two = "一行\n又一行";
    struct Case {
        ProgressHUDMode::Kind kind;
        QString text;
        int indicator;
    };
    const std::vector<Case> cases{{textMode, two, 0},
                                  {textMode, {}, 0},
                                  {ProgressHUDMode::determinate, "加载中，请稍等", 60},
                                  {ProgressHUDMode::success, two, 60},
                                  {ProgressHUDMode::error, {}, 60}};
    for (const Case& look : cases) {
        const QSize text =
            look.text.isEmpty()
                ? QSize(0, 0)
                : QFontMetrics(font).boundingRect(QRect(0, 0, 528, 9999), Qt::AlignCenter, look.text).size();
        const int gaps = (look.indicator > 0 ? 4 : 0) + (look.indicator > 0 && !text.isEmpty() ? 4 : 0);
        const int textWidth = text.isEmpty() ? 0 : text.width() + 10;
        const QSize expected(36 + std::max(look.indicator, textWidth), 36 + look.indicator + gaps + text.height());
        for (const auto& [position, shift] : {std::pair(ProgressHUDPosition::top, -80),
                                              {ProgressHUDPosition::center, 0},
                                              {ProgressHUDPosition::bottom, 80}}) {
            hud_.position = position;
            show(look.text, look.kind);
            SCOPED_TRACE(look.text.toStdString() + " in mode " + std::to_string(look.kind));
            const QRect box = hud_.box();
            EXPECT_NEAR(box.width(), expected.width(), 1);
            EXPECT_NEAR(box.height(), expected.height(), 1);
            EXPECT_NEAR(box.x() + box.width() / 2.0, 300, 0.5);
            EXPECT_NEAR(box.y() + box.height() / 2.0, 200 + shift, 0.5);
            const QColor ground = ground_;
            EXPECT_EQ(extent(picture(), [ground](const QColor& c) { return !isNear(c, ground, 2); }), box);
            if (!text.isEmpty()) {
                EXPECT_EQ(hud_.statusLabel()->geometry().bottom(), box.bottom() - 18);
                EXPECT_NEAR(QRectF(hud_.statusLabel()->geometry()).center().x(), 300, 0.5);
            }
            if (look.indicator > 0) {
                const int top = text.isEmpty() ? 20 : 18; // alone it has its padding half above and half below
                EXPECT_EQ(hud_.indicator()->geometry(), QRect(270, box.top() + top, 60, 60));
            }
        }
    }
}

TEST_F(ProgressHUDLookTest, CornersMarginsAndSpinnerSizeCanBeSet) {
    hud_.show({}, ProgressHUDMode::indeterminate);
    hud_.margin = 30;
    hud_.padding = 10;
    hud_.spinnerSize = 90;
    hud_.position = ProgressHUDPosition::center;
    for (const double radius : {0.0, 15.0, 30.0}) {
        hud_.cornerRadius = radius;
        show({}, ProgressHUDMode::indeterminate);
        EXPECT_EQ(hud_.box().size(), QSize(150, 160));
        EXPECT_EQ(hud_.progressIndicator()->size(), QSize(90, 90)) << "also when the size changes while it is shown";
        const QImage image = picture();
        const int cut = qRound(radius * (1 - std::numbers::sqrt2 / 2)); // of the diagonal, by the arc
        const QPoint corner = hud_.box().topLeft();
        EXPECT_THAT(image.pixelColor(corner + QPoint(cut + 2, cut + 2)), Looks(boxColor()));
        if (cut > 2) {
            EXPECT_THAT(image.pixelColor(corner + QPoint(cut - 2, cut - 2)), Looks(ground_));
        }
    }
}

TEST_F(ProgressHUDLookTest, TextWrapsWithinFourMargins) {
    container_->resize(300, 400);
    for (const QString& text : {QString("网络连接失败，").repeated(8), QString("one two three ").repeated(8),
                                QString("https://example.com/").repeated(4), QString(60, u'W')}) {
        show(text, ProgressHUDMode::error);
        const QRect label = hud_.statusLabel()->geometry();
        EXPECT_LE(label.width(), 300 - 4 * 18);
        EXPECT_LE(hud_.box().width(), 300 - 2 * 18);
        EXPECT_GE(label.height(), 3 * QFontMetrics(hud_.font()).height()) << text.toStdString();
        const QImage image = picture(*hud_.statusLabel());
        const QRect ink = extent(image, [](const QColor& c) { return c.lightness() > 150; });
        EXPECT_GT(ink.left(), 0) << "nothing is cut off at the left, nor at the right";
        EXPECT_LT(ink.right(), label.width() - 1);
        EXPECT_GT(ink.bottom(), label.height() - QFontMetrics(hud_.font()).height()) << "nor below";
    }
}

TEST_F(ProgressHUDLookTest, IconsAreDrawnInTheirSquare) {
    struct Case {
        ProgressHUDMode::Kind kind;
        std::vector<QPointF> drawn;
        std::vector<QPointF> clear;
    };
    const std::vector<Case> cases{{ProgressHUDMode::success,
                                   {{0.05833 * 60, (1 - 0.48377) * 60},
                                    {0.186 * 60, 0.662 * 60},
                                    {0.31429 * 60, (1 - 0.19167) * 60},
                                    {0.624 * 60, 0.5 * 60},
                                    {0.93333 * 60, (1 - 0.80833) * 60}},
                                   {{30, 10}, {30, 56}, {5, 20}, {52, 40}}},
                                  {ProgressHUDMode::error,
                                   {{9, 9}, {30, 30}, {51, 51}, {51, 9}, {9, 51}, {20, 20}},
                                   {{4, 4}, {56, 4}, {30, 15}, {15, 30}}},
                                  {ProgressHUDMode::info,
                                   {{30, 1}, {30, 59}, {1, 30}, {59, 30}, {30, 30}, {30, 44}, {30, 16.5}},
                                   {{30, 5}, {30, 21.5}, {20, 30}, {40, 30}, {30, 52}}}};
    for (const Case& icon : cases) {
        show({}, icon.kind);
        for (const QPointF place : icon.drawn)
            EXPECT_GT(inIndicator(place).lightness(), 150) << icon.kind << " at " << place.x() << ' ' << place.y();
        for (const QPointF place : icon.clear)
            EXPECT_THAT(inIndicator(place), Looks(boxColor())) << icon.kind << " at " << place.x() << ' ' << place.y();
    }
}

TEST_F(ProgressHUDLookTest, AViewOfTheCallersKeepsItsSizeAndIsReplaced) {
    const QPointer<QWidget> view = new QLabel(solid);
    view->resize(120, 40);
    show("一", ProgressHUDMode::custom(view));
    EXPECT_EQ(hud_.indicator(), view);
    EXPECT_EQ(view->size(), QSize(120, 40));
    EXPECT_EQ(hud_.box().width(), 120 + 36);
    hud_.show("二", ProgressHUDMode::custom(view));
    EXPECT_EQ(hud_.indicator(), view) << "shown again it stays";
    hud_.show("三", textMode);
    EXPECT_TRUE(view.isNull());
    EXPECT_EQ(hud_.indicator(), nullptr);
    EXPECT_EQ(hud_.progressIndicator()->parentWidget(), &hud_);
}

TEST_F(ProgressHUDLookTest, TheSpinnerGoesRoundAndFades) {
    hud_.spinnerSize = 200;
    hud_.style = ProgressHUDStyle::custom(Qt::white, Qt::black);
    hud_.opacity = 1;
    for (const bool determinate : {false, true}) {
        hud_.setProgress(0.25);
        show({}, determinate ? ProgressHUDMode::determinate : ProgressHUDMode::indeterminate);
        const ProgressIndicatorLayer& spinner = *hud_.progressIndicator();
        for (int step = 0; step < ProgressIndicatorLayer::numFins; ++step) {
            const int before = spinner.fposition();
            ASSERT_TRUE(waitFor([&] { return spinner.fposition() != before; }));
            ASSERT_EQ(spinner.fposition(), (before + 1) % ProgressIndicatorLayer::numFins);
        }
        const QImage image = picture(*hud_.indicator());
        for (int fin = 0; fin < ProgressIndicatorLayer::numFins; ++fin) {
            const double rest = determinate && fin < 3 ? 0.55 : spinner.fadeDownOpacity();
            const double expected = std::max(rest, 1 - 0.1 * ((spinner.fposition() - fin + 12) % 12));
            const double angle = fin * std::numbers::pi / 6;
            const QPointF middle = QPointF(100, 100) + 68 * QPointF(std::sin(angle), -std::cos(angle));
            EXPECT_NEAR(image.pixelColor(middle.toPoint()).lightnessF(), expected, 0.02) << "fin " << fin;
        }
        hud_.hide(false);
    }
}

} // namespace
} // namespace parlowen
