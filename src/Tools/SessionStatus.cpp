#include "SessionStatus.h"

namespace parlowen {

SessionStatus::SessionStatus(QObject* parent)
    : QObject(parent) {}

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
