#include "SimplyCoreAudio.h"

#include <algorithm>

namespace parlowen {

struct SimplyCoreAudio::SharedMonitor {
    explicit SharedMonitor(const std::shared_ptr<AudioServer>& audioServer)
        : server(audioServer) {}

    /// The monitor that the facades share; the first one has it made.
    std::shared_ptr<AudioHardware> enter() {
        const std::lock_guard lock(mutex);
        if (facades.fetch_add(1) == 0) {
            hardware = std::make_shared<AudioHardware>(AudioObjectPool::shared(server));
            hardware->start();
        }
        return hardware;
    }

    void leave() {
        const std::lock_guard lock(mutex);
        if (facades.fetch_sub(1) == 1) {
            hardware->stop();
            hardware.reset();
        }
    }

    const std::shared_ptr<AudioServer> server;
    std::mutex mutex; ///< the first facade's start and the last one's end are never at the same time
    std::atomic<int> facades = 0;
    std::shared_ptr<AudioHardware> hardware;
};

SimplyCoreAudio::SimplyCoreAudio(const std::shared_ptr<AudioServer>& server) {
    static auto* const monitors = new PerServer<SharedMonitor>;
    monitor_ = monitors->of(server);
    hardware_ = monitor_->enter();
}

SimplyCoreAudio::~SimplyCoreAudio() { monitor_->leave(); }

std::vector<std::shared_ptr<AudioDevice>> SimplyCoreAudio::deviceList() const { return hardware_->deviceList(); }

std::vector<std::shared_ptr<AudioDevice>> SimplyCoreAudio::aggregateDeviceList() const {
    std::vector<std::shared_ptr<AudioDevice>> devices = deviceList();
    std::erase_if(devices, [](const auto& device) { return !device->isAggregate(); });
    return devices;
}

std::shared_ptr<AudioDevice> SimplyCoreAudio::defaultInput() const { return hardware_->defaultDevice(fourCC("dIn ")); }

std::shared_ptr<AudioDevice> SimplyCoreAudio::defaultOutput() const { return hardware_->defaultDevice(fourCC("dOut")); }

std::shared_ptr<AudioDevice> SimplyCoreAudio::defaultSystemOutput() const {
    return hardware_->defaultDevice(fourCC("sOut"));
}

} // namespace parlowen
