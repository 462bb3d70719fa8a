#pragma once

#include "AudioRouting.h"
#include "RouterJournal.h"

#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

#include <functional>
#include <memory>

namespace parlowen {

/// Lets a call be heard and captured at once: the loop-back device becomes the default input, and a multi-output device
/// of the loop-back device and the user's own output becomes the default output. Main thread only; what happens shows
/// in the console log alone.
class KXAudioRouter : public AudioRouting {
public:
    /// Runs work on the main queue so many seconds later.
    using Scheduler = std::function<void(double seconds, std::function<void()> work)>;

    /// The router of the process, over its audio server, which must be installed by then; kept for good.
    static KXAudioRouter& shared();

    /// Looks up the loop-back device and the output to give back at once.
    KXAudioRouter(std::shared_ptr<AudioServer> server, std::shared_ptr<RouterJournal> journal,
                  Scheduler scheduler = mainQueue());

    static Scheduler mainQueue();

    void setupSystemAudio() override;
    void switchInput(bool useMicrophone) override;
    void restoreDevices() override;

private:
    using Device = std::shared_ptr<AudioDevice>;

    Device findMicrophone() const;
    Device findMultiOutput() const;
    void createAggregateDevice(const QString& loopbackUID, const QString& outputUID);
    void useAggregateAsOutput();
    void destroyAggregateDevice();
    void setDefaultInput(const Device& device);
    void setDefaultOutput(const Device& device);

    const std::shared_ptr<AudioServer> server_;
    const std::shared_ptr<RouterJournal> journal_;
    const Scheduler scheduler_;
    const SimplyCoreAudio simply_;
    const QString blackHoleDeviceName_;
    const QString aggregateUID_;
    Device currentOutputDevice_; ///< what to give back at the end
    Device blackHoleDevice_;
    const std::shared_ptr<int> lifetime_; ///< delayed work does nothing once this is gone
};

} // namespace parlowen
