#include "AIInterviewDetailController.h"

#include "FontSteps.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Network/LanguageList.h>
#include <Network/Settings.h>
#include <Tools/AudioRouting.h>
#include <Tools/SpeechRecognitionTool.h>

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

using Row = KXTranslationHistoryDetailsModel;
using Controller = AIInterviewDetailController;

Row makeRow(const QString& text, const QString& translation, std::optional<qint64> start, std::optional<qint64> end) {
    Row row;
    row.sourceText = text;
    row.resultText = translation;
    row.start = start;
    row.end = end;
    return row;
}

/// Handlers come on the recognition's threads. Each of these takes a call to the main thread, in the order of the
/// calls, unless the session is gone by then.
template<class Handler>
auto textOnMain(Controller* session, Handler handler) {
    return [session = QPointer(session), handler](const QString& text) {
        onMain(session, [session, handler, text] { handler(*session, text); });
    };
}

template<class Handler>
auto pairOnMain(Controller* session, Handler handler) {
    return [session = QPointer(session), handler](const QString& text, const QString& translation) {
        onMain(session, [session, handler, text, translation] { handler(*session, text, translation); });
    };
}

} // namespace

AIInterviewDetailController::AIInterviewDetailController(SessionServices services, QObject* parent)
    : QObject(parent)
    , services_(std::move(services))
    , langModel1_(services_.settings->aiLangLeftModel())
    , langModel2_(services_.settings->aiLangRightModel())
    , langSpeechModel_(services_.settings->aiLangChinaModel())
    , aiInterviewType_(services_.settings->aiInterviewType())
    , interviewModel_(services_.settings->aiInterviewSetModel())
    , answers_(services_.streaming)
    , recognition_(services_.status) {
    connect(&answers_, &SessionAnswers::happened, this, &Controller::tell);
    connect(&recognition_, &RecognitionWatch::stopped, this,
            [this](const QString& why) { tell(session::Problem{why}); });
    connect(&recognition_, &RecognitionWatch::missed, this, [this](int seconds) { tell(session::Missed{seconds}); });
}

AIInterviewDetailController::~AIInterviewDetailController() {
    // A session may be destroyed without its window having been closed.
    if (azTokenManager_)
        windowWillClose();
}

void AIInterviewDetailController::tell(const SessionEvent& event) {
    if (!isClosing_)
        Q_EMIT happened(event);
}

QString AIInterviewDetailController::subject() const {
    const auto name = [](const std::optional<LanguageListModel>& language, const char* otherwise) {
        return language && !language->name.isEmpty() ? languageName(*language) : QString::fromLatin1(otherwise);
    };
    const QString languages = aiInterviewType_ == 1
                                  ? name(langSpeechModel_, "zh-CN")
                                  : name(langModel1_, "zh-CN") + QStringLiteral(" → ") + name(langModel2_, "en");
    const QString position = interviewModel_ ? interviewModel_->positioname : QString();
    return position.isEmpty() ? languages : position + QStringLiteral(" · ") + languages;
}

void AIInterviewDetailController::viewDidLoad() {
    setUseTimeCount(0);
    isTranslating_ = false;
    if (interviewModel_)
        fontSize_ = FontSteps::within(interviewModel_->answerFontSize);
    startSessionServices();
}

void AIInterviewDetailController::setUseTimeCount(qint64 seconds) {
    useTimeCount_ = seconds;
    Q_EMIT useTimeCountChanged(seconds);
}

void AIInterviewDetailController::endSound() {
    services_.timer->clearOnTick(clock_);
    if (speechTool_)
        speechTool_->endSound();
}

void AIInterviewDetailController::setFontSize(int size) {
    if (size == fontSize_)
        return;
    fontSize_ = size;
    Q_EMIT fontSizeChanged(size);
    // Read anew: another page may have changed the rest of it since the session began.
    if (auto stored = services_.settings->aiInterviewSetModel()) {
        stored->answerFontSize = size;
        services_.settings->setAiInterviewSetModel(stored);
    }
}

void AIInterviewDetailController::topupDidTap() {
    isTop_ = !isTop_;
    Q_EMIT isTopChanged(isTop_);
}

void AIInterviewDetailController::startSessionServices() {
    azTokenManager_ = std::make_shared<AzTokenNewManager>(*services_.http);
    azTokenManager_->action = 1;
    azTokenManager_->retry = 0;
    azTokenManager_->setDelegate(this);
    azTokenManager_->requestToken();
    recognition_.begin(azTokenManager_);

    TimerManager& timer = *services_.timer;
    clock_ = timer.setOnTokenRefresh([tokens = std::weak_ptr(azTokenManager_)] {
        if (const auto manager = tokens.lock())
            manager->refreshToken();
    });
    timer.start();
    timer.setOnTick([session = QPointer(this)](qint64 seconds) {
        if (session)
            session->setUseTimeCount(seconds);
    });
}

void AIInterviewDetailController::tokenDidFetch(const AzTokenModel& token) {
    if (isClosing_)
        return;
    isTranslating_ = true;
    speechTool_ = SpeechRecognitionTool::make(token.token, token.area, services_.capture);
    recognition_.follow(speechTool_);
    if (aiInterviewType_ == 1)
        startSingleLanguage();
    else
        startTwoLanguages();
    tell(session::Recognizing{});
}

void AIInterviewDetailController::startSingleLanguage() {
    const QString language = langSpeechModel_ ? langSpeechModel_->original_key : QStringLiteral("zh-CN");
    speechTool_->startRecognition(
        language, textOnMain(this, [](Controller& session, const QString& text) { session.finalSentence(text, {}); }),
        textOnMain(this, [](Controller& session, const QString& text) { session.partialSentence(text, {}); }),
        [](const QString& message) { consoleLog(QStringLiteral("识别错误：") + message); });
}

void AIInterviewDetailController::startTwoLanguages() {
    const QString source = langModel1_ ? langModel1_->original_key : QStringLiteral("zh-CN");
    const QString target = langModel2_ ? langModel2_->translation_key : QStringLiteral("en");
    speechTool_->startTranslation(
        source, target, [](const QString&) {}, // a sentence without its translation is not used
        pairOnMain(this, [](Controller& session, const QString& text,
                            const QString& translation) { session.partialSentence(text, translation); }),
        [](const QString& message) { consoleLog(QStringLiteral("识别错误: ") + message); },
        pairOnMain(this, [](Controller& session, const QString& text, const QString& translation) {
            if (session.translateEarlier(text, translation))
                return;
            session.finalSentence(text, translation);
            if (translation.isEmpty())
                session.untranslated_.push_back(session.topArr_.size() - 1);
        }));
}

void AIInterviewDetailController::tokenDidRefresh(const AzTokenModel& token) {
    // The first ones did not come.
    if (!speechTool_)
        return tokenDidFetch(token);
    consoleLog(QStringLiteral("Token 刷新成功，Token: •••, 区域: ") + token.area);
    consoleLog(QStringLiteral("[SpeechRecognitionTool] 更新 token"));
    speechTool_->updateToken(token.token);
}

void AIInterviewDetailController::partialSentence(const QString& text, const QString& translation) {
    if (interviewModel_ && !isManual())
        answers_.prepare();
    const std::optional<qint64> known = centerModel_ ? centerModel_->start : std::nullopt;
    centerModel_ = makeRow(text, translation, known ? known : useTimeCount_, 0);
    tell(session::Partial{static_cast<int>(topArr_.size()) + 1, *centerModel_});
}

void AIInterviewDetailController::finalSentence(const QString& text, const QString& translation) {
    std::optional<qint64> start = centerModel_ ? centerModel_->start : std::nullopt;
    if (!start && !topArr_.empty())
        start = topArr_.back().end;
    centerModel_.reset();
    topArr_.push_back(makeRow(text, translation, start, useTimeCount_));
    tell(session::Sentence{static_cast<int>(topArr_.size()), topArr_.back()});
    dispatchQuestion(text);
}

// A slow translator's service tells a sentence at once with an empty translation, and again once it is translated.
bool AIInterviewDetailController::translateEarlier(const QString& text, const QString& translation) {
    const auto found = std::find_if(untranslated_.begin(), untranslated_.end(),
                                    [&](std::size_t place) { return topArr_[place].sourceText == text; });
    if (found == untranslated_.end() || translation.isEmpty())
        return false;
    Row& row = topArr_[*found];
    row.resultText = translation;
    tell(session::Translated{static_cast<int>(*found) + 1, row});
    untranslated_.erase(found);
    return true;
}

void AIInterviewDetailController::dispatchQuestion(const QString& text) {
    if (interviewModel_ && interviewModel_->antoAnswerType == 0)
        return sendQuestion(text);
    if (interviewModel_)
        answers_.prepare(); // it may be asked at once
    questionText_ += u'\n' + text;
    tell(session::Collected{text});
}

std::shared_ptr<StreamModel> AIInterviewDetailController::makeQuestion(const QString& question) const {
    const auto name = [](const std::optional<LanguageListModel>& language) {
        return language ? language->name : QString();
    };
    const bool single = aiInterviewType_ == 1;
    return std::make_shared<StreamModel>(streamID_, interviewModel_->generateAnswerType + 1, question,
                                         interviewModel_->positioname, name(single ? langSpeechModel_ : langModel1_),
                                         single ? QString() : name(langModel2_));
}

void AIInterviewDetailController::sendQuestion(const QString& question) {
    if (!interviewModel_)
        return;
    answers_.ask(makeQuestion(question));
    streamID_ += 1;
}

void AIInterviewDetailController::aiResponseTapped() {
    const QString question = questionText_;
    if (!hasText()) {
        if (services_.toast)
            services_.toast(tr("请输入文本"));
        return;
    }
    answers_.drop();
    questionText_.clear();
    tell(session::Taken{});
    sendQuestion(question);
}

void AIInterviewDetailController::windowWillClose() {
    if (isClosing_)
        return;
    answers_.cutOff();
    isClosing_ = true;
    closeSession();
    Q_EMIT closing();
}

void AIInterviewDetailController::closeSession() {
    recognition_.end();
    if (isTranslating_)
        stopSessionServices();
    if (azTokenManager_)
        azTokenManager_->setDelegate(nullptr);
    azTokenManager_.reset();
    speechTool_.reset();
    services_.router->restoreDevices();
    if (mainWindow_)
        onMainAfter(0.1, mainWindow_);
}

// The work holds what it stops: the session may be gone before it runs.
void AIInterviewDetailController::stopSessionServices() {
    inBackground([timer = services_.timer, clock = clock_, tool = speechTool_, clients = answers_.clients()] {
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

#include "moc_AIInterviewDetailController.cpp"
