#include "AudioHardwareService.h"

#include <mutex>
#include <utility>

namespace parlowen::AudioHardwareService {

namespace {

struct Installed {
    std::mutex mutex;
    std::shared_ptr<AudioServer> server;
};

Installed& installed() {
    static Installed instance;
    return instance;
}

} // namespace

void install(std::shared_ptr<AudioServer> server) {
    {
        const std::lock_guard lock(installed().mutex);
        std::swap(installed().server, server);
    }
    server.reset(); // outside the lock: the old server's last listener may still ask for the shared one
}

std::shared_ptr<AudioServer> shared() {
    const std::lock_guard lock(installed().mutex);
    return installed().server;
}

} // namespace parlowen::AudioHardwareService
