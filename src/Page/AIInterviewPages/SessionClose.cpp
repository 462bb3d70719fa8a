#include "AIInterviewDetailController.h"
#include "AnswersModel.h"
#include "TranscriptModel.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Tools/AudioRouting.h>
#include <Tools/SpeechRecognitionTool.h>

#include <QEvent>

/// How a session ends.
namespace parlowen {

void AIInterviewDetailController::showEvent(QShowEvent* event) {
    BaseViewController::showEvent(event);
    window()->installEventFilter(this);
}

bool AIInterviewDetailController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Close && watched == window())
        windowWillClose();
    return BaseViewController::eventFilter(watched, event);
}

void AIInterviewDetailController::windowWillClose() {
    if (isClosing_)
        return;
    isClosing_ = true;
    // What still arrives is kept, but no list follows it any more.
    transcript_->blockSignals(true);
    answers_->blockSignals(true);
    closeSession();
}

void AIInterviewDetailController::closeSession() {
    recognitionTick_.stop();
    if (isTranslating_)
        stopSessionServices();
    if (azTokenManager_)
        azTokenManager_->setDelegate(nullptr);
    azTokenManager_.reset();
    speechTool_.reset();
    services_.router->restoreDevices();
    onMainAfter(0.1, [window = mainWindow_] {
        if (!window)
            return;
        window->show();
        window->raise();
        window->activateWindow();
    });
}

// The work holds what it stops: the page may be gone before it runs.
void AIInterviewDetailController::stopSessionServices() {
    inBackground([timer = services_.timer, clock = clock_, tool = speechTool_, clients = answers_->clients()] {
        timer->stop(clock);
        consoleLog(QStringLiteral("停止微软轮询"));
        timer->clearOnTokenRefresh(clock);
        if (tool)
            tool->stopRecognition();
        for (const auto& client : clients)
            inBackground([client] { client->cancel(); });
    });
}

} // namespace parlowen
