#pragma once

#include "SessionEvent.h"
#include "SessionLayout.h"

#include <Foundation/Phrase.h>
#include <Page/View/BaseViewController.h>

#include <QPoint>
#include <functional>
#include <vector>

class QLabel;
class QPushButton;
class QToolButton;

namespace parlowen {

class AIInterviewDetailController;
class AnswersModel;
class ListFrame;
class QuestionBox;
class ReadingList;
class StatusChip;
class TranscriptModel;

/// Shows a session and takes its user's wishes to it: clock, status and pin, the two lists, the question box of manual
/// mode. It is the content of the session window. Main thread only.
class SessionPage : public BaseViewController {
    Q_OBJECT
public:
    /// Starts the session once its views are built. The session outlives the page.
    SessionPage(AIInterviewDetailController& session, QWidget* parent);

    /// The page's controls in the order in which the Tab key goes through them.
    std::vector<QWidget*> keyboardOrder() const;
    /// Where the pin button is in the page: what the window adds to the header stands level with it.
    QRect pinPlace() const;
    /// Whether the window's title has a place in the header.
    bool hasRoomForTitle() const;
    /// How wide the title is that the window shows in the header's middle.
    void setTitleWidth(int width) { titleWidth_ = width; }
    /// Adds a sentence to the details of the status, where one is shown.
    void addStatusNote(const BilingualText& sentence);
    /// Copies what was said and what was answered.
    void copyAll() const;

Q_SIGNALS:
    /// A context menu is asked for on one of the lists.
    void menuRequested(ReadingList* list, QPoint globalPosition);

protected:
    void loadView() override;
    void viewDidLoad() override;
    void buildUserInterface() override;
    void buildLayout() override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void sayTexts();
    void buildHeader();
    void buildLists();
    void buildQuestionBox();
    void buildReading();
    void openMenuByKeys();
    SessionLayout currentLayout() const;

    void show(const SessionEvent& event);
    void reloadTranscript(const std::function<void()>& change);
    void reloadAnswers(const std::function<void()>& change);
    void showTime(qint64 seconds);
    void showFontSize(int size);
    void showPinState();
    void hoverPin(bool inside);

    AIInterviewDetailController& session_;
    TranscriptModel* transcript_;
    AnswersModel* answers_;
    int titleWidth_ = 0;

    StatusChip* status_ = nullptr; ///< null without a status
    QLabel* timeLabel_ = nullptr;
    QLabel* tipLab_ = nullptr;
    QToolButton* topImg_ = nullptr;
    ListFrame* topView_ = nullptr;
    ListFrame* bottomView_ = nullptr;
    ReadingList* topTableView_ = nullptr;
    ReadingList* bottomTableView_ = nullptr;
    QuestionBox* textView_ = nullptr;
    QPushButton* aiResponseButton_ = nullptr;
};

} // namespace parlowen
