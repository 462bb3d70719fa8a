#include "AIInterviewDetailController.h"
#include "AnswersModel.h"
#include "FontSteps.h"
#include "QuestionBox.h"
#include "TranscriptModel.h"

#include <Network/Settings.h>
#include <Page/View/ReadingList.h>
#include <Tools/PopView/SystemFont.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QShortcut>
#include <initializer_list>

/// What readers do by keys beside reading: the lists' font, the context menu, asking from the question box.
namespace parlowen {

void AIInterviewDetailController::buildReading() {
    const auto onKeys = [this](std::initializer_list<Qt::Key> keys, int (*next)(int)) {
        for (const Qt::Key key : keys)
            connect(new QShortcut(Qt::CTRL | key, this), &QShortcut::activated, this,
                    [this, next] { setFontSize(next(fontSize_)); });
    };
    // On many keyboards "+" shares its key with "=".
    onKeys({Qt::Key_Plus, Qt::Key_Equal}, [](int size) { return FontSteps::larger(size); });
    onKeys({Qt::Key_Minus}, [](int size) { return FontSteps::smaller(size); });
    for (const Qt::Key enter : {Qt::Key_Return, Qt::Key_Enter})
        connect(new QShortcut(Qt::CTRL | enter, textView_, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated,
                this, &AIInterviewDetailController::aiResponseTapped);
    // The menu key is the platform's business, this one is not.
    connect(new QShortcut(Qt::SHIFT | Qt::Key_F10, this), &QShortcut::activated, this,
            &AIInterviewDetailController::openMenuByKeys);
    for (ReadingList* list : {topTableView_, bottomTableView_})
        connect(list, &ReadingList::menuRequested, this,
                [this, list](QPoint position) { Q_EMIT menuRequested(list, position); });
}

void AIInterviewDetailController::openMenuByKeys() {
    QWidget* focused = window()->focusWidget();
    QWidget* target = focused == nullptr ? window() : focused;
    const QPoint middle = target->rect().center();
    QContextMenuEvent request(QContextMenuEvent::Keyboard, middle, target->mapToGlobal(middle));
    QApplication::sendEvent(target, &request);
}

void AIInterviewDetailController::setFontSize(int size) {
    if (size == fontSize_)
        return;
    fontSize_ = size;
    const int row = TextCell::nominalHeight(systemFont(size));
    topTableView_->changeFont([this, size] { transcript_->setFontSize(size); }, row);
    bottomTableView_->changeFont([this, size] { answers_->setFontSize(size); }, row);
    // Read anew: another page may have changed the rest of it since the session began.
    if (auto stored = services_.settings->aiInterviewSetModel()) {
        stored->answerFontSize = size;
        services_.settings->setAiInterviewSetModel(stored);
    }
}

} // namespace parlowen
