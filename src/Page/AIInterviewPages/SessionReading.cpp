#include "AIInterviewDetailController.h"
#include "AnswersModel.h"
#include "FontSteps.h"
#include "TranscriptModel.h"

#include <Network/Settings.h>
#include <Page/View/ReadingList.h>
#include <Tools/PopView/SystemFont.h>

#include <QShortcut>
#include <initializer_list>

/// What readers do with the lists beside reading: their font by keys, the context menu.
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
    for (ReadingList* list : {topTableView_, bottomTableView_})
        connect(list, &ReadingList::menuRequested, this,
                [this, list](QPoint position) { Q_EMIT menuRequested(list, position); });
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
