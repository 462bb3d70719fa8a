#include "SessionEnding.h"

#include <utility>

namespace parlowen {

namespace {

using State = RecognitionStatus::State;

// Recognition ends a sentence half a second after it was spoken; the rest is for slow machines and a reconnect.
constexpr int quietMilliseconds = 4'000;
// Of a service that does not say when it has heard all, before its first word: it may still be loading its model.
constexpr int firstWordMilliseconds = 40'000;
// A token is asked for again and again; one that comes later than this does not come for a recording.
constexpr int startMilliseconds = 60'000;

} // namespace

SessionEnding::SessionEnding(const SessionStatus& status, std::chrono::milliseconds piece)
    : status_(status)
    , piece_(piece) {
    quiet_.setSingleShot(true);
    connect(&quiet_, &QTimer::timeout, this, &SessionEnding::settled);
    connect(&status_, &SessionStatus::recognitionChanged, this, &SessionEnding::recognitionChanged);
}

void SessionEnding::awaitStart() { quiet_.start(startMilliseconds); }

void SessionEnding::soundEnded() {
    soundOver_ = true;
    nextPiece_.setRemainingTime(piece_);
    settleSoon();
}

void SessionEnding::note(const SessionEvent& event) {
    std::visit(SessionHandler{
                   [this](const session::Recognizing&) { quiet_.stop(); },
                   [this](const session::Partial& partial) {
                       unfinished_ = partial.row.sourceText;
                       heardWords_ = true;
                   },
                   [this](const session::Sentence&) {
                       unfinished_.clear();
                       heardWords_ = true;
                   },
                   [this](const session::Question& question) { growing_.insert(question.number); },
                   [this](const session::AnswerEnded& answer) { growing_.erase(answer.number); },
                   [](const auto&) {},
               },
               event);
    if (!std::holds_alternative<session::Missed>(event))
        nextPiece_.setRemainingTime(piece_);
    settleSoon();
}

void SessionEnding::stop() {
    stopped_ = true;
    quiet_.stop();
}

void SessionEnding::recognitionChanged() {
    if (recognitionStopped() && !soundOver_)
        soundEnded(); // nothing more will be heard, and the problem is told next
    const State state = status_.recognition().state;
    if (std::exchange(lagged_, recognitionLags()) != lagged_ || state == State::Recognizing || state == State::Finished)
        settleSoon();
}

bool SessionEnding::recognitionLags() const {
    const RecognitionStatus& now = status_.recognition();
    return now.state == State::Reconnecting || (now.state == State::Recognizing && now.waitingSeconds > 0);
}

void SessionEnding::settleSoon() {
    if (!soundOver_ || stopped_)
        return;
    const State state = status_.recognition().state;
    const bool isOver = state == State::Stopped || state == State::Finished;
    if (isAnswering() || ((!unfinished_.isEmpty() || recognitionLags()) && !isOver))
        quiet_.start(static_cast<int>(nextPiece_.remainingTime()));
    else if (state == State::Finished)
        quiet_.start(0);
    else
        quiet_.start(heardWords_ || isOver ? quietMilliseconds : firstWordMilliseconds);
}

} // namespace parlowen

#include "moc_SessionEnding.cpp"
