#include "AudioCommands.h"

#include <AVFoundation/ChirpProbe.h>
#include <Foundation/BackgroundQueue.h>
#include <Foundation/MainQueue.h>
#include <Tools/AudioCheck.h>

#include <QByteArray>

namespace parlowen::AudioCommands {

void check(const std::shared_ptr<AudioServer>& server, bool listen, const Write& write,
           const std::function<void(int)>& finished) {
    const Language language = terminalLanguage();
    const AudioCheck found = checkAudio(server, language);
    write(found.text(language).toUtf8());
    if (!listen || !found.isReady()) {
        onMain([finished, ready = found.isReady()] { finished(ready ? 0 : 1); });
        return;
    }
    inBackground([write, finished, language] {
        const ChirpResult result = playAndListenForChirp();
        onMain([write, finished, language, result] {
            write(chirpText(result, language).toUtf8());
            finished(result.arrived ? 0 : 1);
        });
    });
}

} // namespace parlowen::AudioCommands
