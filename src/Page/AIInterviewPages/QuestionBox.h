#pragma once

#include <QPlainTextEdit>

namespace parlowen {

class ListFrame;

/// The question box of manual mode: sentences are added at its end while the user may edit what stands there.
class QuestionBox : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit QuestionBox(QWidget* parent);

    /// Adds a line feed and the sentence at the end. The view follows if it showed the end. What was typed before can
    /// no longer be undone.
    void addSentence(const QString& sentence);

    /// Keeps the text clear of whatever lies over the box's right side.
    void setRightReserve(int width);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    ListFrame* frame_;
};

} // namespace parlowen
