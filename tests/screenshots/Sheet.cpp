#include "Sheet.h"

#include <Tools/PopView/SystemFont.h>

#include <QLinearGradient>
#include <QPainter>
#include <QWidget>
#include <algorithm>

namespace parlowen::screenshots {

namespace {

constexpr int sheetWidth = 3200;
constexpr int gap = 24;
constexpr int titleHeight = 64;
constexpr int captionHeight = 26;

/// Walks over the tiles from left to right and row by row.
class Flow {
public:
    QPoint place(QSize size) {
        if (x_ > gap && x_ + size.width() + gap > sheetWidth)
            newRow();
        const QPoint at(x_, y_);
        x_ += size.width() + gap;
        rowHeight_ = std::max(rowHeight_, size.height());
        return at;
    }
    void newRow() {
        y_ += rowHeight_ > 0 ? rowHeight_ + gap : 0;
        x_ = gap;
        rowHeight_ = 0;
    }
    int y() const { return y_; }

private:
    int x_ = gap;
    int y_ = gap;
    int rowHeight_ = 0;
};

template<class PlaceTitle, class PlaceTile, class Sections>
int layOut(const Sections& sections, const PlaceTitle& title, const PlaceTile& tile) {
    Flow flow;
    for (const auto& section : sections) {
        flow.newRow();
        title(section, flow.place({sheetWidth - 2 * gap, titleHeight}));
        flow.newRow();
        for (const auto& entry : section.tiles)
            tile(entry, flow.place(entry.picture.size() + QSize(0, captionHeight)));
    }
    flow.newRow();
    return flow.y();
}

} // namespace

Sheet& Sheet::shared() {
    static Sheet sheet;
    return sheet;
}

void Sheet::section(const QString& title) { sections_.push_back({title, {}}); }

void Sheet::add(const QString& caption, QWidget& widget) {
    for (const int scale : {1, 2})
        add(QStringLiteral("%1 · %2×").arg(caption).arg(scale), pictureOf(widget, scale));
}

void Sheet::add(const QString& caption, const QImage& picture) {
    QImage plain = picture;
    plain.setDevicePixelRatio(1);
    sections_.back().tiles.push_back({caption, plain});
}

QImage Sheet::compose() const {
    const int height = layOut(
        sections_, [](const Section&, QPoint) {}, [](const Tile&, QPoint) {});
    QImage sheet(sheetWidth, height, QImage::Format_RGB32);
    sheet.fill(QColor(250, 250, 250));
    QPainter painter(&sheet);
    layOut(
        sections_,
        [&painter](const Section& section, QPoint at) {
            painter.setFont(systemFont(32, QFont::DemiBold));
            painter.drawText(QRect(at, QSize(sheetWidth, titleHeight)), Qt::AlignVCenter, section.title);
        },
        [&painter](const Tile& tile, QPoint at) {
            painter.setFont(systemFont(15));
            painter.drawText(QRect(at, QSize(sheetWidth, captionHeight)), Qt::AlignVCenter, tile.caption);
            painter.drawImage(at + QPoint(0, captionHeight), tile.picture);
        });
    return sheet;
}

QImage pictureOf(QWidget& widget, int scale) {
    QImage picture(widget.size() * scale, QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(scale);
    QPainter painter(&picture);
    QLinearGradient ground(0, 0, widget.width(), widget.height());
    ground.setColorAt(0, QColor(206, 222, 240));
    ground.setColorAt(1, QColor(244, 232, 216));
    painter.fillRect(widget.rect(), ground);
    widget.render(&painter, {}, {}, QWidget::DrawChildren);
    return picture;
}

} // namespace parlowen::screenshots
