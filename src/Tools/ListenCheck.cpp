#include "ListenCheck.h"

#include "AudioRouteNames.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/MainQueue.h>

#include <utility>

namespace parlowen {

std::shared_ptr<ListenCheck> ListenCheck::make(std::shared_ptr<AudioServer> server,
                                               std::shared_ptr<RouterJournal> journal, Probe probe) {
    return std::shared_ptr<ListenCheck>(new ListenCheck(std::move(server), std::move(journal), std::move(probe)));
}

ListenCheck::ListenCheck(std::shared_ptr<AudioServer> server, std::shared_ptr<RouterJournal> journal, Probe probe)
    : simply_(server)
    , probe_(std::move(probe)) {
    const auto scheduler = [this](double seconds, const std::function<void()>& work) {
        scheduled_ = true;
        onMainAfter(seconds, [self = shared_from_this(), work] {
            if (!self->done_)
                return;
            work();
            self->listen();
        });
    };
    router_ = std::make_unique<KXAudioRouter>(std::move(server), std::move(journal), scheduler);
}

void ListenCheck::start(std::function<void(const ChirpResult&)> done) {
    done_ = std::move(done);
    const std::shared_ptr<AudioDevice> output = simply_.defaultOutput();
    if (output && output->deviceUID() == AudioRouteNames::multiOutputUID()) {
        listen();
        return;
    }
    ownInput_ = simply_.defaultInput();
    router_->setupSystemAudio();
    changed_ = scheduled_;
    if (!scheduled_)
        finish({QStringLiteral("the devices are not ready for it; see above")});
}

void ListenCheck::listen() {
    if (std::exchange(listening_, true))
        return;
    inBackground([self = shared_from_this()]() mutable {
        ChirpResult result = self->probe_();
        onMain([self = std::move(self), result = std::move(result)] { self->finish(result); });
    });
}

void ListenCheck::cancel() { finish({QStringLiteral("it was interrupted")}); }

void ListenCheck::finish(const ChirpResult& result) {
    if (!done_)
        return;
    if (std::exchange(changed_, false)) {
        router_->restoreDevices();
        if (ownInput_)
            ownInput_->makeDefaultInput();
    }
    std::exchange(done_, nullptr)(result);
}

QString ListenCheck::text(const ChirpResult& result) {
    if (!result.problem.isEmpty())
        return QStringLiteral("problem The sound check could not be made: %1.\n").arg(result.problem);
    if (!result.arrived)
        return QStringLiteral("problem The chirp did not arrive on the loop-back input.\n"
                              "        Look for a muted output or a volume of zero in the sound settings.\n");
    return QStringLiteral(
               "ok      The chirp arrived on the loop-back input, %1 dB against what was played, %2 ms late.\n")
        .arg(result.gainDb, 0, 'f', 1)
        .arg(result.delayMs, 0, 'f', 0);
}

} // namespace parlowen
