#pragma once

#include <Tools/SessionStatusText.h>

#include <QWidget>

class QLabel;
class QPushButton;

namespace parlowen {

/// The details of a session's status and what to do, in a panel under the chip that says it in short. Its texts can be
/// marked and copied. It takes the keyboard and gives it back when it closes, with Escape or a click beside it. It
/// deletes itself then. Main thread only.
class StatusDetails : public QWidget {
    Q_OBJECT
public:
    explicit StatusDetails(QWidget* parent);

    /// Says this from now on. A text that is being marked changes once nothing is marked in it.
    void say(const SessionStatusText& words);
    void popUpUnder(const QWidget& chip);

Q_SIGNALS:
    /// The user wants to hear what that output plays.
    void outputChosen(const QString& uid);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void fit();

    QLabel* headline_;
    QLabel* details_;
    QLabel* caption_;
    QLabel* advice_;
    QPushButton* action_;
    QString actionUID_;
    QPoint anchor_; ///< the chip's lower left corner, on the screen
};

} // namespace parlowen
