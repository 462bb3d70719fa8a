#pragma once

#include <QLabel>

namespace parlowen {

/// A label of one line of plain text that ends in "…" where the room ends.
class ElidedLabel : public QLabel {
    Q_OBJECT
public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A label of centred plain text that wraps between words, and within a word that is longer than a line.
class WrappedLabel : public QLabel {
    Q_OBJECT
public:
    explicit WrappedLabel(QWidget* parent = nullptr);

    /// The room that the text takes in lines of at most `maxWidth` points; empty for an empty text.
    static QSize textSize(const QString& text, const QFont& font, int maxWidth);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace parlowen
