#include "AIInterviewDetailController.h"
#include "AnswersModel.h"
#include "QuestionBox.h"

#include <Foundation/MainQueue.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/StreamModel.h>

#include <utility>

/// How a session asks questions and takes the answers in.
namespace parlowen {

void AIInterviewDetailController::dispatchQuestion(const QString& text) {
    if (interviewModel_ && interviewModel_->antoAnswerType == 0)
        sendQuestion(text);
    else
        textView_->addSentence(text);
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
    const std::shared_ptr<StreamModel> model = makeQuestion(question);
    const int row = answers_->count();
    attachUpdates(row, model);
    reloadAnswers([&] { answers_->append(model); });
    if (!isClosing_ && observer_.asked)
        observer_.asked(model);
    const std::shared_ptr<StreamingClient> client = StreamingClient::make(model, services_.streaming);
    answers_->keepClient(client);
    client->start();
    streamID_ += 1;
}

void AIInterviewDetailController::aiResponseTapped() {
    const QString question = textView_->toPlainText();
    if (question.isEmpty()) {
        services_.hud->toast(QStringLiteral("请输入文本"));
        return;
    }
    reloadAnswers([this] { answers_->clear(); });
    sendQuestion(question);
    textView_->clear();
}

// Pieces arrive on the answer's own thread.
void AIInterviewDetailController::attachUpdates(int row, const std::shared_ptr<StreamModel>& model) {
    model->setOnUpdate([page = QPointer(this), row, weak = std::weak_ptr(model)](const QString&) {
        onMain(page, [page, row, weak] {
            if (const auto answer = weak.lock())
                page->updateAnswerRow(row, answer);
        });
    });
}

void AIInterviewDetailController::updateAnswerRow(int row, const std::shared_ptr<StreamModel>& model) {
    if (isClosing_ || !answers_->isListed(row, model))
        return;
    reloadAnswers([&] { answers_->refresh(row); });
    if (observer_.answerGrew)
        observer_.answerGrew(model);
}

} // namespace parlowen
