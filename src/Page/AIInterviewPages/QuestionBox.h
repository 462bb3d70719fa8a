#pragma once

#include <QPlainTextEdit>

namespace parlowen {

class ListFrame;

/// The question box of manual mode: sentences are added at its end while the user may edit what stands there. The view
/// follows the newest sentence until the user scrolls back or works in the text.
class QuestionBox : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit QuestionBox(QWidget* parent);

    /// Adds a line feed and the sentence at the end. A line feed that begins the text is not shown. The user's caret
    /// and selection stay where they are. What was typed before can no longer be undone.
    void addSentence(const QString& sentence);

    /// Keeps the text clear of whatever lies over the box's right side.
    void setRightReserve(int width);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    bool hidesFirstLine() const;
    void showOrHideFirstLine();
    void keepCaretInSight();
    void noteScroll();
    void follow();

    ListFrame* frame_;
    bool beginsWithSentence_ = false; ///< the text's first line feed was put there by a sentence
    bool followsEnd_ = true;          ///< the user has not scrolled back
    bool isWorkedIn_ = false;         ///< the user has typed or clicked in the text since it took the keyboard
};

} // namespace parlowen
