#include "AudioCommands.h"

#include <Tools/AudioCheck.h>
#include <Tools/ListenCheck.h>
#include <Tools/LoopbackDevice.h>
#include <Tools/RouterJournal.h>

#include <QByteArray>
#include <QFile>
#include <utility>

namespace parlowen::AudioCommands {

std::function<void()> check(const std::shared_ptr<AudioServer>& server, bool listen, Write write,
                            std::function<void(int)> finished) {
    const AudioCheck found = checkAudio(server);
    write(found.text().toUtf8());
    if (!listen || !found.isReady()) {
        finished(found.isReady() ? 0 : 1);
        return [] {};
    }
    const std::shared_ptr<ListenCheck> listening = ListenCheck::make(server, std::make_shared<RouterJournal>());
    listening->start([write = std::move(write), finished = std::move(finished)](const ChirpResult& result) {
        write(ListenCheck::text(result).toUtf8());
        finished(result.arrived ? 0 : 1);
    });
    return [listening] { listening->cancel(); };
}

int setUp(const std::shared_ptr<AudioServer>& server, const Write& write) {
    const LoopbackDevice::Setup setup = LoopbackDevice::setUp(server);
    switch (setup.outcome) {
    case LoopbackDevice::Setup::Outcome::AlreadyThere:
        write("The loop-back device is there already.\n");
        return 0;
    case LoopbackDevice::Setup::Outcome::Created:
        write("The loop-back device was created. It stays until the audio server ends.\n");
        return 0;
    case LoopbackDevice::Setup::Outcome::Failed:
        break;
    }
    write("The loop-back device cannot be created: " + setup.problem.toUtf8() + '\n');
    return 1;
}

void recover(const std::shared_ptr<AudioServer>& server, bool alsoWithoutRecord) {
    if (QFile::exists(RouterJournal::defaultPath()) || (alsoWithoutRecord && !ProcessIdentity::runsTwice()))
        RouterJournal().recover(server);
}

} // namespace parlowen::AudioCommands
