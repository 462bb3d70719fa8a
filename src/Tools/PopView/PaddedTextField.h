#pragma once

#include <QLineEdit>

namespace parlowen {

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
