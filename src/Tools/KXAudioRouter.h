#pragma once

#include "AudioRouting.h"
#include "LoopbackDevice.h"
#include "RouterJournal.h"

#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

#include <functional>
#include <memory>

namespace parlowen {

/// Lets a call be heard and captured at once: the loop-back device becomes the default input, and a multi-output device
/// of the loop-back device and the user's own output becomes the default output. Main thread only; what happens shows
/// in the console log alone.
///
/// When the audio server restarts during a session, what the session needs is made again: the loop-back device unless
/// it comes back by itself, the multi-output device, and the defaults. While the user's own output is away, another
/// one serves. Devices that cannot be given back because the server or the output is away are given back when it
/// returns, or else at the next start.
class KXAudioRouter : public AudioRouting {
public:
    /// Runs work on the main queue so many seconds later.
    using Scheduler = std::function<void(double seconds, std::function<void()> work)>;

    /// The router of the process, over its audio server, which must be installed by then; kept for good.
    static KXAudioRouter& shared();

    /// Looks up the loop-back device and the output to give back at once.
    KXAudioRouter(std::shared_ptr<AudioServer> server, std::shared_ptr<RouterJournal> journal,
                  Scheduler scheduler = mainQueue(), LoopbackDevice::Creator makeLoopback = LoopbackDevice::create);
    ~KXAudioRouter() override;
    KXAudioRouter(const KXAudioRouter&) = delete;
    KXAudioRouter& operator=(const KXAudioRouter&) = delete;

    static Scheduler mainQueue();

    void setupSystemAudio() override;
    void switchInput(bool useMicrophone) override;
    void restoreDevices() override;

private:
    using Device = std::shared_ptr<AudioDevice>;
    /// What the devices are kept at, should the server restart.
    enum class Route { UsersOwn, SystemAudio, Microphone, ToBeGivenBack };

    Device findLoopback() const;
    Device findMicrophone() const;
    Device findMultiOutput() const;
    void createAggregateDevice(const QString& loopbackUID, const QString& outputUID);
    void useAggregateAsOutput();
    bool destroyAggregateDevice();
    bool outputIsBack() const;
    void rememberOwnInput();
    Device giveInputBack();
    void noteWhatIsBack(const Device& input, bool multiOutputIsGone);
    void setDefaultInput(const Device& device);
    void setDefaultOutput(const Device& device);
    bool serverAnswers() const;
    void later(double seconds, std::function<void()> work);

    void watchForRestarts();
    void serverRestarted();
    void lookWhetherReady(int look);
    void lookLater(int look);
    void lookNowAndThen();
    void dropLooks() { ++looks_; }
    bool isThere(const Device& device) const;
    bool isReadyAgain() const;
    void makeLoopbackAgain();
    void setUpAgain();
    void setUpSystemAudioAgain();

    const std::shared_ptr<AudioServer> server_;
    const std::shared_ptr<RouterJournal> journal_;
    const Scheduler scheduler_;
    const LoopbackDevice::Creator makeLoopback_;
    const SimplyCoreAudio simply_;
    const QString blackHoleDeviceName_;
    const QString aggregateUID_;
    Device currentOutputDevice_; ///< what to give back at the end
    Device ownInput_; ///< the user's default input before the session, given back where there is no microphone
    Device blackHoleDevice_;
    Route route_ = Route::UsersOwn;
    int looks_ = 0; ///< the number of the look that is to come; others do nothing
    ListenerToken restartListener_ = 0;
    const std::shared_ptr<int> lifetime_; ///< delayed work does nothing once this is gone
};

} // namespace parlowen
