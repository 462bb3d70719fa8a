#include "AIInterviewDetailController.h"
#include "QuestionBox.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Tools/SpeechRecognitionTool.h>

#include <utility>

/// How a session starts: clock, token, recognition.
namespace parlowen {

namespace {

/// Handlers come on the recognition's threads. Each of these takes a call to the main thread, in the order of the
/// calls, unless the page is gone by then.
template<class Handler>
auto textOnMain(AIInterviewDetailController* page, Handler handler) {
    return [page = QPointer(page), handler](const QString& text) {
        onMain(page, [page, handler, text] { handler(*page, text); });
    };
}

template<class Handler>
auto pairOnMain(AIInterviewDetailController* page, Handler handler) {
    return [page = QPointer(page), handler](const QString& text, const QString& translation) {
        onMain(page, [page, handler, text, translation] { handler(*page, text, translation); });
    };
}

} // namespace

void AIInterviewDetailController::startSessionServices() {
    azTokenManager_ = std::make_shared<AzTokenNewManager>(*services_.http);
    azTokenManager_->action = 1;
    azTokenManager_->retry = 0;
    azTokenManager_->setDelegate(this);
    azTokenManager_->requestToken();
    tellRecognition();

    TimerManager& timer = *services_.timer;
    clock_ = timer.setOnTokenRefresh([tokens = std::weak_ptr(azTokenManager_)] {
        if (const auto manager = tokens.lock())
            manager->refreshToken();
    });
    timer.start();
    timer.setOnTick([page = QPointer(this)](qint64 seconds) {
        if (page)
            page->setUseTimeCount(seconds);
    });
}

void AIInterviewDetailController::tokenDidFetch(const AzTokenModel& token) {
    if (isClosing_)
        return;
    isTranslating_ = true;
    textView_->setReadOnly(false);
    speechTool_ = SpeechRecognitionTool::make(token.token, token.area, services_.capture);
    followRecognition();
    if (aiInterviewType_ == 1)
        startSingleLanguage();
    else
        startTwoLanguages();
    if (observer_.recognitionStarted)
        observer_.recognitionStarted();
}

void AIInterviewDetailController::startSingleLanguage() {
    using Page = AIInterviewDetailController;
    const QString language = langSpeechModel_ ? langSpeechModel_->original_key : QStringLiteral("zh-CN");
    speechTool_->startRecognition(
        language, textOnMain(this, [](Page& page, const QString& text) { page.finalSentence(text, {}); }),
        textOnMain(this, [](Page& page, const QString& text) { page.partialSentence(text, {}); }),
        [](const QString& message) { consoleLog(QStringLiteral("识别错误：") + message); });
}

void AIInterviewDetailController::startTwoLanguages() {
    using Page = AIInterviewDetailController;
    const QString source = langModel1_ ? langModel1_->original_key : QStringLiteral("zh-CN");
    const QString target = langModel2_ ? langModel2_->translation_key : QStringLiteral("en");
    speechTool_->startTranslation(
        source, target, [](const QString&) {}, // a sentence without its translation is not used
        pairOnMain(this, [](Page& page, const QString& text,
                            const QString& translation) { page.partialSentence(text, translation); }),
        [](const QString& message) { consoleLog(QStringLiteral("识别错误: ") + message); },
        pairOnMain(this, [](Page& page, const QString& text, const QString& translation) {
            page.finalSentence(text, translation);
        }));
}

void AIInterviewDetailController::tokenDidRefresh(const AzTokenModel& token) {
    // The first ones did not come.
    if (!speechTool_)
        return tokenDidFetch(token);
    consoleLog(QStringLiteral("Token 刷新成功，Token: ") + token.token + QStringLiteral(", 区域: ") + token.area);
    consoleLog(QStringLiteral("[SpeechRecognitionTool] 更新 token"));
    speechTool_->updateToken(token.token);
}

} // namespace parlowen
