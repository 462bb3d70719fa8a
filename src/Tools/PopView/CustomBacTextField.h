#pragma once

#include <QColor>
#include <QWidget>
#include <optional>

class QLabel;

namespace parlowen {

/// A label of one line on a ground of its own, which may be coloured and rounded.
class CustomBacTextField : public QWidget {
    Q_OBJECT
public:
    explicit CustomBacTextField(QWidget* parent = nullptr);

    /// The label: empty, system 14, left aligned, cut at its tail.
    QLabel* textField() const { return textField_; }

    /// The ground's colour; clear without one.
    void setBackgroundColor(const std::optional<QColor>& color);
    const std::optional<QColor>& backgroundColor() const { return backgroundColor_; }

    /// The ground's corner radius in points, 0 or more.
    void setCornerRadius(double radius);
    double cornerRadius() const { return cornerRadius_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QLabel* textField_;
    std::optional<QColor> backgroundColor_;
    double cornerRadius_ = 0;
};

} // namespace parlowen
