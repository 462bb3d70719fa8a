#include "LiveSession.h"

#include "Composition.h"
#include "Rehearsal.h"

#include <Tools/KXAudioRouter.h>

#include <utility>

namespace parlowen {

namespace {

const LanguageListModel recordedLanguage{135, QStringLiteral("英语（美国）"), QStringLiteral("en-US"),
                                         QStringLiteral("en"), QStringLiteral("Y")};

/// Whether an answer's refusal means that the sign-in is over is for the request layer to find out, which then ends it
/// everywhere.
void checkSignIn(const SessionEvent& event, HttpDatas& http) {
    const auto* answer = std::get_if<session::AnswerEnded>(&event);
    if (answer != nullptr && answer->end.cause == AnswerEnd::Cause::SignInRefused)
        http.requestData(QStringLiteral("/user/info"), HttpMethod::GET, {}, {}, nullptr);
}

} // namespace

LiveSession::LiveSession(Composition& composition, const SessionSound& sound, QObject* parent)
    : QObject(parent) {
    if (sound.system)
        hear(sound);
    connect(&status_, &SessionStatus::outputChosen, this, [sound](const QString& output) { hear(sound, output); });
    open(composition,
         composition.sessionServices(inputCapture(status_.inputObserver()), KXAudioRouter::shared(), status_));
}

LiveSession::LiveSession(Composition& composition, const QString& recording, QObject* parent)
    : QObject(parent) {
    CommandLine line;
    line.language = recordedLanguage.original_key;
    choices_.emplace();
    choices_->applyAnswers(line);
    choices_->applyLanguages(line, {recordedLanguage}, {});
    const auto ended = [this] { window_->controller()->endSound(); };
    open(composition, composition.sessionServices(recordedCapture(recording, status_, this, ended), noRouting_, status_,
                                                  &choices_->settings()));
}

void LiveSession::open(Composition& composition, SessionServices services) {
    auto session = std::make_unique<AIInterviewDetailController>(std::move(services));
    AIInterviewDetailController* controller = session.get();
    window_ = Composition::openWindow(std::move(session));
    if (presence_.isSecond())
        window_->addStatusNote({QStringLiteral("Another interview window is open; both go on"),
                                QStringLiteral("另一个面试窗口已打开，两个都会继续")});
    connect(&composition.backend(), &Backend::servingChanged, controller,
            [controller](bool serves) { controller->setServiceStarting(!serves); });
    connect(controller, &AIInterviewDetailController::happened, this,
            [&http = composition.http()](const SessionEvent& event) { checkSignIn(event, http); });
    connect(controller, &AIInterviewDetailController::closing, this, &QObject::deleteLater);
}

} // namespace parlowen

#include "moc_LiveSession.cpp"
