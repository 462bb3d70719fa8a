#pragma once

#include "KXAudioRouter.h"

#include <AVFoundation/ChirpProbe.h>

#include <functional>
#include <memory>

namespace parlowen {

/// Whether sound that is played arrives on the loop-back input: sets the devices up as for a session, plays a short
/// chirp into the default output and listens for it on the default input, then gives everything back, the user's own
/// default input included. While the multi-output device is the output already, only the chirp is played.
///
/// Main thread; the process's main queue must run.
class ListenCheck : public std::enable_shared_from_this<ListenCheck> {
public:
    using Probe = std::function<ChirpResult()>;

    /// The probe runs on a background thread.
    static std::shared_ptr<ListenCheck> make(std::shared_ptr<AudioServer> server,
                                             std::shared_ptr<RouterJournal> journal,
                                             Probe probe = playAndListenForChirp);

    /// Begins, once. `done` is called on the main thread after everything was given back; the check lives until then.
    void start(std::function<void(const ChirpResult&)> done);

    /// Gives everything back and calls `done` at once, unless that has happened already. Before start() it does
    /// nothing.
    void cancel();

    /// The result in plain English, a line or two, each with its line end.
    static QString text(const ChirpResult& result);

private:
    ListenCheck(std::shared_ptr<AudioServer> server, std::shared_ptr<RouterJournal> journal, Probe probe);
    void listen();
    void finish(const ChirpResult& result);

    const SimplyCoreAudio simply_;
    const Probe probe_;
    std::function<void(const ChirpResult&)> done_;
    std::shared_ptr<AudioDevice> ownInput_;
    std::unique_ptr<KXAudioRouter> router_;
    bool scheduled_ = false; // the router's delayed step
    bool listening_ = false;
    bool changed_ = false;
};

} // namespace parlowen
