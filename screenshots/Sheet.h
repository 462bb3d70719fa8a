#pragma once

#include <QImage>
#include <QRect>
#include <QString>
#include <vector>

class QWidget;

namespace parlowen::screenshots {

/// Pictures with captions, in sections; each section becomes one page, or several where one would grow too tall.
class Sheet {
public:
    /// The sheet of this run.
    static Sheet& shared();

    /// What is added from now on belongs to the section of that title, which is made when it is new.
    void section(const QString& title);
    /// Takes the widget's picture at the scales 1 and 2, on a ground that shows through where the widget is clear.
    /// Of a part of it alone where one is given.
    void add(const QString& caption, QWidget& widget, QRect part = {});

    /// Writes the pages as PNG files, and a README.md that shows them, into the folder, which must exist. False when
    /// one of them cannot be written.
    bool write(const QString& folder) const;

    /// Pictures that stand side by side under one caption.
    struct Group {
        QString caption;
        std::vector<QImage> pictures;
    };

private:
    struct Section {
        QString title;
        std::vector<Group> groups;
    };
    std::vector<Section> sections_;
    std::size_t current_ = 0;
};

} // namespace parlowen::screenshots
