#pragma once

#include "BaseViewController.h"

#include <QString>
#include <functional>
#include <optional>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace parlowen {

/// The editor of the position that the user interviews for, a card for a pop-up. Either button closes the pop-up that
/// it is in; Control and Enter press "确定". Main thread only.
class PositionView : public BaseView {
    Q_OBJECT
public:
    using BaseView::BaseView;

    /// The text to edit; without one the text view stays as it is.
    void setTextContent(const std::optional<QString>& text);
    const std::optional<QString>& textContent() const { return textContent_; }

    QPlainTextEdit* roleTextView() const { return roleTextView_; }
    QLabel* placeholderLabel() const { return placeholderLabel_; }
    QPushButton* sureButton() const { return sureButton_; }
    QPushButton* cancelButton() const { return cancelButton_; }

    std::function<void(const QString& text)> sureContent;
    std::function<void()> cancelContent;

    QSize sizeHint() const override; ///< 360 × 360 at the usual font scale

protected:
    void buildStyle() override;
    void build() override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void buildContentView();
    void sureTapped();
    void cancelTapped();
    void textDidChange();

    std::optional<QString> textContent_;
    QWidget* contentView_ = nullptr; ///< what the text area's frame is drawn round
    QPlainTextEdit* roleTextView_ = nullptr;
    QLabel* placeholderLabel_ = nullptr;
    QPushButton* sureButton_ = nullptr;
    QPushButton* cancelButton_ = nullptr;
};

} // namespace parlowen
