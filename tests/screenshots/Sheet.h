#pragma once

#include <QImage>
#include <QString>
#include <vector>

class QWidget;

namespace parlowen::screenshots {

/// Pictures with captions, in sections, laid out on one sheet.
class Sheet {
public:
    /// The sheet of this run.
    static Sheet& shared();

    void section(const QString& title);
    /// Takes the widget's picture at the scales 1 and 2, on a ground that shows through where the widget is clear.
    void add(const QString& caption, QWidget& widget);
    void add(const QString& caption, const QImage& picture);

    /// All sections below each other.
    QImage compose() const;

private:
    struct Tile {
        QString caption;
        QImage picture;
    };
    struct Section {
        QString title;
        std::vector<Tile> tiles;
    };
    std::vector<Section> sections_;
};

/// The widget's picture, its points `scale` pixels wide.
QImage pictureOf(QWidget& widget, int scale);

} // namespace parlowen::screenshots
