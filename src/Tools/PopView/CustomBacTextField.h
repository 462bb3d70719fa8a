#pragma once

#include <QColor>
#include <QLineEdit>
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

/// A text field with room round its text: the text stands (left + right) in from each side.
class PaddedTextField : public QLineEdit {
    Q_OBJECT
public:
    explicit PaddedTextField(QWidget* parent = nullptr);

    /// Left 8, top 4, right 8, bottom 4 at first.
    const QMargins& insets() const { return insets_; }
    void setInsets(const QMargins& insets);

    /// The plain field's size plus (left + right) and (top + bottom).
    QSize sizeHint() const override;

private:
    QMargins insets_{8, 4, 8, 4};
};

} // namespace parlowen
