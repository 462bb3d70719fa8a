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

} // namespace parlowen
