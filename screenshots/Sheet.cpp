#include "Sheet.h"

#include "Pages.h"

#include <QFile>
#include <QImageWriter>
#include <QLinearGradient>
#include <QPainter>
#include <QRegularExpression>
#include <QWidget>
#include <algorithm>

namespace parlowen::screenshots {

namespace {

constexpr int smallestFile = 0; // the writer's quality, which for PNG is only a matter of time

QString fileName(const QString& title, std::size_t number, std::size_t count) {
    static const QRegularExpression between("[^a-z0-9]+");
    const QString name = title.toLower().replace(between, "-");
    return count == 1 ? name + QString(".png") : QString("%1-%2.png").arg(name).arg(number);
}

bool save(const QImage& page, const QString& file) {
    QImageWriter writer(file, "png");
    writer.setQuality(smallestFile);
    return writer.write(page);
}

/// The widget's picture, its points `scale` pixels wide.
QImage pictureOf(QWidget& widget, QRect part, int scale) {
    QImage picture(part.size() * scale, QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(scale);
    QPainter painter(&picture);
    QLinearGradient ground(0, 0, part.width(), part.height());
    ground.setColorAt(0, QColor(206, 222, 240));
    ground.setColorAt(1, QColor(244, 232, 216));
    painter.fillRect(QRect(QPoint(), part.size()), ground);
    widget.render(&painter, {}, part, QWidget::DrawChildren);
    return picture;
}

} // namespace

Sheet& Sheet::shared() {
    static Sheet sheet;
    return sheet;
}

void Sheet::section(const QString& title) {
    const auto known = std::find_if(sections_.begin(), sections_.end(),
                                    [&title](const Section& section) { return section.title == title; });
    current_ = static_cast<std::size_t>(known - sections_.begin());
    if (known == sections_.end())
        sections_.push_back({title, {}});
}

void Sheet::add(const QString& caption, QWidget& widget, QRect part) {
    const QRect area = part.isNull() ? widget.rect() : part;
    sections_.at(current_).groups.push_back({caption, {pictureOf(widget, area, 1), pictureOf(widget, area, 2)}});
    for (QImage& picture : sections_.at(current_).groups.back().pictures)
        picture.setDevicePixelRatio(1);
}

bool Sheet::write(const QString& folder) const {
    QString text = "# Screenshots\n\n`./dev screenshots` draws these pages anew, each look at the scales 1 "
                   "and 2.\n";
    for (const Section& section : sections_) {
        text += QString("\n## %1\n\n").arg(section.title);
        const std::vector<QImage> pages = drawPages(section.title, section.groups);
        for (std::size_t i = 0; i < pages.size(); ++i) {
            const QString name = fileName(section.title, i + 1, pages.size());
            if (!save(pages[i], folder + u'/' + name))
                return false;
            text += QString("![%1](%2)\n").arg(section.title, name);
        }
    }
    QFile readme(folder + QString("/README.md"));
    return readme.open(QIODevice::WriteOnly) && readme.write(text.toUtf8()) > 0 && readme.flush();
}

} // namespace parlowen::screenshots
