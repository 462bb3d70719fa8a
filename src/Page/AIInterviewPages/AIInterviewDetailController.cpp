#include "AIInterviewDetailController.h"

#include "AnswersModel.h"
#include "FontSteps.h"
#include "QuestionBox.h"
#include "StatusChip.h"
#include "TranscriptModel.h"

#include <Network/Settings.h>
#include <Page/View/ReadingList.h>

#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <utility>

namespace parlowen {

AIInterviewDetailController::AIInterviewDetailController(SessionServices services, QWidget* parent)
    : BaseViewController(parent)
    , services_(std::move(services))
    , langModel1_(services_.settings->aiLangLeftModel())
    , langModel2_(services_.settings->aiLangRightModel())
    , langSpeechModel_(services_.settings->aiLangChinaModel())
    , aiInterviewType_(services_.settings->aiInterviewType())
    , interviewModel_(services_.settings->aiInterviewSetModel())
    , transcript_(new TranscriptModel(this))
    , answers_(new AnswersModel(this)) {}

AIInterviewDetailController::~AIInterviewDetailController() {
    // A page may be destroyed without its window having been closed.
    if (azTokenManager_)
        windowWillClose();
    // A question that came while the window was closing has an answer under way that no one else ends.
    for (const auto& client : answers_->clients())
        client->cancel();
}

const std::optional<KXTranslationHistoryDetailsModel>& AIInterviewDetailController::centerModel() const {
    return transcript_->centerModel();
}

const std::vector<KXTranslationHistoryDetailsModel>& AIInterviewDetailController::topArr() const {
    return transcript_->topArr();
}

std::vector<std::shared_ptr<StreamModel>> AIInterviewDetailController::streamModels() const {
    return answers_->streamModels();
}

bool AIInterviewDetailController::isManual() const { return interviewModel_ && interviewModel_->antoAnswerType == 1; }

bool AIInterviewDetailController::hasCollectedQuestions() const {
    return isManual() && !textView_->toPlainText().isEmpty();
}

std::vector<QWidget*> AIInterviewDetailController::keyboardOrder() const {
    std::vector<QWidget*> order{topImg_, topTableView_, textView_, aiResponseButton_, bottomTableView_};
    if (status_ != nullptr)
        order.insert(order.begin(), status_);
    return order;
}

QRect AIInterviewDetailController::pinPlace() const { return topImg_->geometry(); }

QString AIInterviewDetailController::subject() const {
    const auto name = [](const std::optional<LanguageListModel>& language, const char* otherwise) {
        return language && !language->name.isEmpty() ? language->name : QString::fromLatin1(otherwise);
    };
    const QString languages = aiInterviewType_ == 1
                                  ? name(langSpeechModel_, "zh-CN")
                                  : name(langModel1_, "zh-CN") + QStringLiteral(" → ") + name(langModel2_, "en");
    const QString position = interviewModel_ ? interviewModel_->positioname : QString();
    return position.isEmpty() ? languages : position + QStringLiteral(" · ") + languages;
}

void AIInterviewDetailController::addStatusNote(const QString& sentence) {
    if (status_ != nullptr)
        status_->addNote(sentence);
}

void AIInterviewDetailController::stopClock() { services_.timer->setOnTick({}); }

// The window's own ground shows through.
void AIInterviewDetailController::loadView() {
    setAutoFillBackground(false);
    setFocusPolicy(Qt::ClickFocus);
}

void AIInterviewDetailController::viewDidLoad() {
    if (interviewModel_)
        fontSize_ = FontSteps::within(interviewModel_->answerFontSize);
    BaseViewController::viewDidLoad();
    setUseTimeCount(0);
    isTranslating_ = false;
    textView_->setReadOnly(true);
    startSessionServices();
}

void AIInterviewDetailController::setUseTimeCount(qint64 seconds) {
    useTimeCount_ = seconds;
    const qsizetype length = timeLabel_->text().size();
    timeLabel_->setText(QString::asprintf("%02lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                                          static_cast<long long>(seconds % 3600 / 60),
                                          static_cast<long long>(seconds % 60)));
    if (timeLabel_->text().size() != length)
        buildLayout();
}

} // namespace parlowen
