#include "SessionSound.h"

#include <Foundation/MainQueue.h>
#include <PulseAudio/PulseClient.h>

#include <QCoreApplication>
#include <utility>

namespace parlowen {

namespace {

SessionRoute::Choice choiceFor(const SessionSound& sound, const QString& output) {
    if (!sound.system)
        return {SessionRoute::What::Microphone};
    if (!output.isEmpty())
        return {SessionRoute::What::Output, output.toStdString(), PulseClient::shared()->state()->snapshot.defaultSink};
    if (!sound.application.isEmpty())
        return {SessionRoute::What::Application, sound.application.toStdString()};
    return {SessionRoute::What::Output};
}

} // namespace

void hear(const SessionSound& sound, const QString& output) {
    PulseClient::shared()->route()->choose(choiceFor(sound, output));
}

PlayingPrograms::PlayingPrograms()
    : client_(PulseClient::shared()) {
    {
        const PulseClient::Lock lock(*client_);
        watch_ = client_->watch(
            [self = QPointer(this)](const PulseClient::StatePtr&) { onMain(self, [self] { self->read(); }); });
    }
    read();
}

PlayingPrograms::~PlayingPrograms() = default;

void PlayingPrograms::read() {
    QStringList names;
    for (const PulsePlayback& playback : client_->state()->snapshot.playbacks) {
        const QString name = QString::fromStdString(playback.application);
        if (playback.sounding && !name.isEmpty() && name != QCoreApplication::applicationName())
            names << name;
    }
    names.removeDuplicates();
    names.sort(Qt::CaseInsensitive);
    if (std::exchange(names_, names) != names)
        Q_EMIT changed();
}

} // namespace parlowen

#include "moc_SessionSound.cpp"
