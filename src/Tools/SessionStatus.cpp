#include "SessionStatus.h"

#include <Foundation/MainQueue.h>

#include <algorithm>
#include <cmath>

namespace parlowen {

namespace {

// Speech that is well recorded peaks between these.
constexpr double quietestDecibels = -50;
constexpr double loudestDecibels = -8;

} // namespace

double meterShare(float peak) {
    if (peak <= 0)
        return 0;
    return std::clamp((20 * std::log10(peak) - quietestDecibels) / (loudestDecibels - quietestDecibels), 0.0, 1.0);
}

SessionStatus::SessionStatus(QObject* parent)
    : QObject(parent) {}

InputObserver SessionStatus::inputObserver() {
    InputObserver observer;
    const QPointer<SessionStatus> self(this);
    observer.changed = [self](const InputStatus& input) { onMain(self, [self, input] { self->setInput(input); }); };
    observer.missed = [self](double seconds) { onMain(self, [self, seconds] { self->addMissed(seconds); }); };
    observer.meter = meter_;
    return observer;
}

void SessionStatus::setInput(const InputStatus& input) {
    if (input_ == input)
        return;
    input_ = input;
    Q_EMIT inputChanged();
}

void SessionStatus::setRecognition(const RecognitionStatus& recognition) {
    if (recognition_ == recognition)
        return;
    recognition_ = recognition;
    Q_EMIT recognitionChanged();
}

void SessionStatus::addMissed(double seconds) { Q_EMIT missed(seconds); }

void SessionStatus::chooseOutput(const QString& uid) { Q_EMIT outputChosen(uid); }

} // namespace parlowen

#include "moc_SessionStatus.cpp"
