#pragma once

#include "AudioRouting.h"

#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

#include <functional>
#include <memory>

namespace parlowen {

/// Lets a session hear the call: the loop-back device becomes the sessions' input, and a multi-output device of the
/// loop-back device and the user's own output the default output. All of it is noted in this process and leaves the
/// audio server as it is. Main thread only; what happens shows in the console log alone.
class KXAudioRouter : public AudioRouting {
public:
    /// Runs work on the main queue so many seconds later.
    using Scheduler = std::function<void(double seconds, std::function<void()> work)>;

    /// The router of the process, over its audio server, which must be installed by then; kept for good.
    static KXAudioRouter& shared();

    /// Looks up the loop-back device and the output to give back at once.
    explicit KXAudioRouter(std::shared_ptr<AudioServer> server, Scheduler scheduler = mainQueue());
    ~KXAudioRouter() override;
    KXAudioRouter(const KXAudioRouter&) = delete;
    KXAudioRouter& operator=(const KXAudioRouter&) = delete;

    static Scheduler mainQueue();

    void setupSystemAudio() override;
    void switchInput(bool useMicrophone) override;
    void restoreDevices() override;

private:
    using Device = std::shared_ptr<AudioDevice>;

    Device findLoopback() const;
    Device findMicrophone() const;
    Device findMultiOutput() const;
    void createAggregateDevice(const QString& loopbackUID, const QString& outputUID);
    void useAggregateAsOutput();
    void destroyAggregateDevice();

    const std::shared_ptr<AudioServer> server_;
    const Scheduler scheduler_;
    const SimplyCoreAudio simply_;
    const QString blackHoleDeviceName_;
    const QString aggregateUID_;
    Device currentOutputDevice_; ///< what to give back at the end
    Device blackHoleDevice_;
    const std::shared_ptr<int> lifetime_; ///< delayed work does nothing once this is gone
};

} // namespace parlowen
