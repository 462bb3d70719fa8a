#include "SessionEnding.h"

#include <utility>

namespace parlowen {

namespace {

using State = RecognitionStatus::State;

// Recognition ends a sentence half a second after it was spoken; the rest is for slow machines and a reconnect.
constexpr int quietMilliseconds = 4'000;
// Before its first word a busy machine may still be loading the recogniser.
constexpr int firstWordMilliseconds = 40'000;
// What an answer, or a sentence that has begun, may take from one piece to the next once the sound is over.
constexpr int pieceMilliseconds = 60'000;
// A token is asked for again and again; one that comes later than this does not come for a recording.
constexpr int startMilliseconds = 60'000;

} // namespace

SessionEnding::SessionEnding(const SessionStatus& status)
    : status_(status) {
    quiet_.setSingleShot(true);
    connect(&quiet_, &QTimer::timeout, this, &SessionEnding::settled);
    connect(&status_, &SessionStatus::recognitionChanged, this, &SessionEnding::recognitionChanged);
}

void SessionEnding::awaitStart() { quiet_.start(startMilliseconds); }

void SessionEnding::soundEnded() {
    soundOver_ = true;
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
    settleSoon();
}

void SessionEnding::stop() {
    stopped_ = true;
    quiet_.stop();
}

void SessionEnding::recognitionChanged() {
    soundOver_ = soundOver_ || recognitionStopped(); // nothing more will be heard, and the problem is told next
    if (std::exchange(lagged_, recognitionLags()) != lagged_ || status_.recognition().state == State::Recognizing)
        settleSoon();
}

bool SessionEnding::recognitionLags() const {
    const RecognitionStatus& now = status_.recognition();
    return now.state == State::Reconnecting || (now.state == State::Recognizing && now.waitingSeconds > 0);
}

void SessionEnding::settleSoon() {
    if (!soundOver_ || stopped_)
        return;
    const bool waits = isAnswering() || ((!unfinished_.isEmpty() || recognitionLags()) && !recognitionStopped());
    const int quiet = heardWords_ || recognitionStopped() ? quietMilliseconds : firstWordMilliseconds;
    quiet_.start(waits ? pieceMilliseconds : quiet);
}

} // namespace parlowen

#include "moc_SessionEnding.cpp"
