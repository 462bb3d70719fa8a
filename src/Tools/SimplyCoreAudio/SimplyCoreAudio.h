#pragma once

#include "AudioHardware.h"

namespace parlowen {

/// The audio devices of the machine. Any number may exist; all of one audio server share one monitor, which watches
/// the server for as long as one of them lives. Any thread.
class SimplyCoreAudio {
public:
    /// Takes the server's present devices as known, and begins to watch it, unless another one does already.
    explicit SimplyCoreAudio(const std::shared_ptr<AudioServer>& server);
    ~SimplyCoreAudio();
    SimplyCoreAudio(const SimplyCoreAudio&) = delete;
    SimplyCoreAudio& operator=(const SimplyCoreAudio&) = delete;

    /// The monitor.
    const std::shared_ptr<AudioHardware>& hardware() const { return hardware_; }

    /// The devices in the server's order, one object for an ID at a time; empty when the list cannot be read.
    std::vector<std::shared_ptr<AudioDevice>> deviceList() const;
    /// Those that work through other devices.
    std::vector<std::shared_ptr<AudioDevice>> aggregateDeviceList() const;
    /// None when it cannot be read or is no device.
    std::shared_ptr<AudioDevice> defaultInput() const;
    std::shared_ptr<AudioDevice> defaultOutput() const;
    std::shared_ptr<AudioDevice> defaultSystemOutput() const;

private:
    struct SharedMonitor;

    std::shared_ptr<SharedMonitor> monitor_;
    std::shared_ptr<AudioHardware> hardware_;
};

} // namespace parlowen
