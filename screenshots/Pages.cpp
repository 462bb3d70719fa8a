#include "Pages.h"

#include <Tools/PopView/Colors.h>
#include <Tools/PopView/SystemFont.h>

#include <QPainter>
#include <algorithm>

namespace parlowen::screenshots {

namespace {

constexpr int gap = 24;
constexpr int innerGap = 12;                  // between the pictures of a group
constexpr int pageWidth = 2 * 1000 + 3 * gap; // two session windows side by side, or one at scale 2
constexpr int pageHeight = 2400;              // at most, for more than one row
constexpr int titleHeight = 72;
constexpr int captionHeight = 30;

using Group = Sheet::Group;

QSize sizeOf(const Group& group) {
    QSize size(-innerGap, 0);
    for (const QImage& picture : group.pictures)
        size = {size.width() + innerGap + picture.width(), std::max(size.height(), picture.height())};
    return size + QSize(0, captionHeight);
}

bool fitsInARow(const Group& group) { return sizeOf(group).width() + 2 * gap <= pageWidth; }

/// Takes groups that are too wide apart, the largest pictures first: the small ones then fill what these leave free.
std::vector<Group> takenApart(const std::vector<Group>& groups) {
    std::vector<Group> whole;
    std::vector<Group> parts;
    for (const Group& group : groups) {
        if (fitsInARow(group)) {
            whole.push_back(group);
            continue;
        }
        for (std::size_t i = 0; i < group.pictures.size(); ++i)
            parts.push_back({QString("%1, %2×").arg(group.caption).arg(i + 1), {group.pictures[i]}});
    }
    std::stable_sort(parts.begin(), parts.end(),
                     [](const Group& a, const Group& b) { return sizeOf(a).width() > sizeOf(b).width(); });
    whole.insert(whole.end(), parts.begin(), parts.end());
    return whole;
}

struct Row {
    std::vector<Group> groups;
    int width = gap;
    int height = 0;
};

std::vector<Row> rowsOf(const std::vector<Group>& groups) {
    std::vector<Row> rows;
    for (const Group& group : takenApart(groups)) {
        const QSize size = sizeOf(group);
        if (rows.empty() || rows.back().width + size.width() + gap > pageWidth)
            rows.emplace_back();
        Row& row = rows.back();
        row.groups.push_back(group);
        row.width += size.width() + gap;
        row.height = std::max(row.height, size.height() + gap);
    }
    return rows;
}

struct Page {
    std::vector<Row> rows;
    int height = gap + titleHeight;
};

/// Each row goes on the first page that has room for it.
std::vector<Page> pagesOf(const std::vector<Row>& rows) {
    std::vector<Page> pages;
    for (const Row& row : rows) {
        auto page = std::find_if(pages.begin(), pages.end(),
                                 [&row](const Page& each) { return each.height + row.height <= pageHeight; });
        if (page == pages.end())
            page = pages.insert(pages.end(), Page());
        page->rows.push_back(row);
        page->height += row.height;
    }
    return pages;
}

void draw(QPainter& painter, const Row& row, int y) {
    int x = gap;
    for (const Group& group : row.groups) {
        painter.setFont(systemFont(17));
        painter.setPen(hexColor(theme::darkText));
        painter.drawText(QRect(x, y, pageWidth, captionHeight), Qt::AlignVCenter, group.caption);
        int left = x;
        for (const QImage& picture : group.pictures) {
            painter.drawImage(left, y + captionHeight, picture);
            left += picture.width() + innerGap;
        }
        x += sizeOf(group).width() + gap;
    }
}

QImage draw(const Page& page, const QString& title) {
    const auto widest = std::max_element(page.rows.begin(), page.rows.end(),
                                         [](const Row& a, const Row& b) { return a.width < b.width; });
    QImage image(widest->width, page.height, QImage::Format_RGB32);
    image.fill(QColor(250, 250, 250));
    QPainter painter(&image);
    painter.setFont(systemFont(34, QFont::DemiBold));
    painter.setPen(hexColor(theme::darkText));
    painter.drawText(QRect(gap, gap, image.width(), titleHeight - gap), Qt::AlignVCenter, title);
    int y = gap + titleHeight;
    for (const Row& row : page.rows) {
        draw(painter, row, y);
        y += row.height;
    }
    return image;
}

} // namespace

std::vector<QImage> drawPages(const QString& title, const std::vector<Group>& groups) {
    std::vector<QImage> images;
    const std::vector<Page> pages = pagesOf(rowsOf(groups));
    for (const Page& page : pages) {
        const QString number =
            pages.size() == 1 ? QString() : QString(" (%1 of %2)").arg(images.size() + 1).arg(pages.size());
        images.push_back(draw(page, title + number));
    }
    return images;
}

} // namespace parlowen::screenshots
