#include "AnswerCheck.h"

#include "Composition.h"

#include <Foundation/MainQueue.h>
#include <Foundation/Phrase.h>
#include <Network/ApiBase.h>

#include <QPointer>
#include <utility>

namespace parlowen {

namespace {

constexpr Phrase trialQuestion{"What do you like about your work?", "你喜欢你的工作的哪些方面？"};
constexpr Phrase times{"first piece after %1 ms, the whole answer after %2 ms\n",
                       "首段用时 %1 毫秒，完整回答用时 %2 毫秒\n"};
constexpr Phrase noAnswer{"the answer was empty", "回答为空"};
constexpr Phrase modelFailed{"the language model failed", "语言模型未能给出完整的回答"};
constexpr Phrase signInRefused{"the backend no longer takes the sign-in", "后端不再接受当前的登录"};

} // namespace

AnswerCheck::AnswerCheck(SessionSettings& settings, Composition& composition, Write write,
                         std::function<void(int)> finished)
    : settings_(settings)
    , composition_(composition)
    , write_(std::move(write))
    , finished_(std::move(finished)) {}

AnswerCheck::~AnswerCheck() {
    if (client_)
        client_->cancel();
    composition_.setHooks({});
}

void AnswerCheck::begin() {
    if (const Result<void> usable = composition_.backend().checkAddress(); !usable)
        return fail(usable.error());
    composition_.connectBackend(this, [this](const Result<Backend::Access>& access) {
        if (access)
            signIn(access->trust);
        else
            fail(access.error());
    });
}

void AnswerCheck::signIn(const LocalTrust& trust) {
    trust_ = trust;
    Composition::Hooks hooks;
    hooks.forcedSignOut = [this] {
        if (!signIn_->tokenRefused())
            fail(signInRefused.here());
    };
    composition_.setHooks(std::move(hooks));
    signIn_ = std::make_unique<SessionSignIn>(composition_.http(), settings_.settings(), trust);
    signIn_->run([this](const Result<void>& signedIn) {
        if (signedIn)
            ask();
        else
            fail(signedIn.error());
    });
}

// Pieces arrive on the answers' own thread.
void AnswerCheck::ask() {
    const auto model = std::make_shared<StreamModel>(0, 1, trialQuestion.here(), QString(), QString(), QString());
    model->setOnUpdate(
        [self = QPointer(this)](const QString& whole) { onMain(self, [self, whole] { self->grew(whole); }); });
    model->setOnEnd([self = QPointer(this)](const AnswerEnd& end) { onMain(self, [self, end] { self->ended(end); }); });
    write_((trialQuestion.here() + QStringLiteral("\n\n")).toUtf8());
    client_ = StreamingClient::make(
        model, {ApiBase::builtIn(), [&settings = settings_.settings()] { return settings.loginToken(); }, trust_});
    asked_.start();
    client_->start();
}

void AnswerCheck::grew(const QString& whole) {
    if (firstPiece_ < 0 && !whole.isEmpty())
        firstPiece_ = asked_.elapsed();
    write_(QStringView(whole).sliced(std::exchange(written_, whole.size())).toUtf8());
}

void AnswerCheck::ended(const AnswerEnd& end) {
    write_("\n\n");
    if (end.outcome != AnswerEnd::Outcome::Complete)
        return fail(answerFailureText(end, terminalLanguage()));
    if (firstPiece_ < 0)
        return fail(noAnswer.here());
    if (client_->hasFailed())
        return fail(modelFailed.here());
    write_(times.here(QString::number(firstPiece_), QString::number(asked_.elapsed())).toUtf8());
    finished_(0);
}

void AnswerCheck::fail(const QString& problem) {
    write_((problem + u'\n').toUtf8());
    finished_(1);
}

} // namespace parlowen
