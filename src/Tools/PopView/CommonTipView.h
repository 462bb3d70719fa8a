#pragma once

#include <QWidget>
#include <functional>

class QLabel;
class QPushButton;

namespace parlowen {

/// A white card with a title, a text and two buttons, to be shown in a `MYCenterPopView`: a question with two answers.
/// Either button closes the pop-up. Main thread only.
class CommonTipView : public QWidget {
    Q_OBJECT
public:
    explicit CommonTipView(QWidget* parent = nullptr);

    /// Sets the four texts; the card grows with its text where its size is its own.
    void configure(const QString& title, const QString& content, const QString& cancelTitle, const QString& sureTitle);

    /// Shows such a card over the container, its right button with the keyboard. Escape gives neither answer.
    static CommonTipView* ask(QWidget* container, const QString& title, const QString& content,
                              const QString& cancelTitle, const QString& sureTitle);

    /// The right button does what cannot be undone: the left one is then the prominent one.
    void warn();
    /// A third button, below the two, that does what cannot be undone. It closes the pop-up, too.
    QPushButton* addDangerButton(const QString& title);

    QLabel* titleLabel() const { return titleLabel_; }
    QLabel* contentLabel() const { return contentLabel_; }
    QPushButton* cancelButton() const { return cancelButton_; }
    QPushButton* sureButton() const { return sureButton_; }

    std::function<void()> sureBlock; ///< called once the pop-up has begun to close after the second button

    /// The left button: closes the pop-up.
    void dismiss();
    void button1Tap();
    /// The right button: closes the pop-up, then calls `sureBlock`.
    void button2Tap();

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QLabel* titleLabel_;
    QLabel* contentLabel_;
    QPushButton* cancelButton_;
    QPushButton* sureButton_;
};

} // namespace parlowen
