// How a session's devices are made again after the audio server has restarted.
#include "KXAudioRouter.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>

#include <algorithm>

namespace parlowen {

namespace {

// A server finds its devices one after another.
constexpr double secondsBetweenLooks = 0.25;
constexpr int looksBeforeLoopbackIsMade = 4;
constexpr int mostLooks = 40;

} // namespace

KXAudioRouter::~KXAudioRouter() { server_->removePropertyListener(restartListener_); }

void KXAudioRouter::watchForRestarts() {
    server_->addPropertyListener(
        kAudioObjectSystemObject, {fourCC("srst")},
        [this, alive = std::weak_ptr<int>(lifetime_)](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
            onMain([this, alive] {
                if (!alive.expired())
                    serverRestarted();
            });
            return kAudioHardwareNoError;
        },
        restartListener_);
}

void KXAudioRouter::serverRestarted() {
    ++restarts_;
    if (route_ == Route::UsersOwn)
        return;
    consoleLog(QStringLiteral("🔄 音频服务已重新启动，正在恢复会话的音频设备"));
    lookWhetherReady(restarts_, 0);
}

void KXAudioRouter::lookWhetherReady(int restart, int look) {
    if (restart != restarts_ || route_ == Route::UsersOwn)
        return;
    if (isReadyAgain() || look == mostLooks) {
        setUpAgain();
        return;
    }
    if (look == looksBeforeLoopbackIsMade && route_ == Route::SystemAudio && !findLoopback())
        makeLoopbackAgain();
    later(secondsBetweenLooks, [this, restart, look] { lookWhetherReady(restart, look + 1); });
}

bool KXAudioRouter::isThere(const Device& device) const {
    const auto devices = simply_.deviceList();
    return std::find(devices.begin(), devices.end(), device) != devices.end();
}

bool KXAudioRouter::isReadyAgain() const {
    if (route_ == Route::Microphone)
        return findMicrophone() != nullptr;
    return isThere(currentOutputDevice_) && (route_ == Route::ToBeGivenBack || findLoopback());
}

/// In the background: it waits for the server.
void KXAudioRouter::makeLoopbackAgain() {
    inBackground([make = makeLoopback_] {
        if (const std::optional<QString> problem = make())
            consoleLog(QStringLiteral("❌ 无法重新创建 BlackHole：%1").arg(*problem));
    });
}

void KXAudioRouter::setUpAgain() {
    if (route_ == Route::ToBeGivenBack) {
        restoreDevices();
        return;
    }
    if (route_ == Route::Microphone) {
        switchInput(true);
        return;
    }
    if (Device loopback = findLoopback())
        blackHoleDevice_ = std::move(loopback);
    // The server may have made another device the default while the user's own was not there yet.
    if (isThere(currentOutputDevice_) && simply_.defaultOutput() != currentOutputDevice_)
        setDefaultOutput(currentOutputDevice_);
    setupSystemAudio();
}

} // namespace parlowen
