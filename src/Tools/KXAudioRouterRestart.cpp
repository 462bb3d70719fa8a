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
constexpr double secondsBetweenLateLooks = 1.0;
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
    dropLooks();
    if (route_ == Route::UsersOwn)
        return;
    consoleLog(QStringLiteral("🔄 音频服务已重新启动，正在恢复会话的音频设备"));
    lookWhetherReady(0);
}

/// After the last of the quick looks the session goes on with what there is, and with its own devices once they come.
void KXAudioRouter::lookWhetherReady(int look) {
    if (route_ == Route::UsersOwn)
        return;
    const bool ready = isReadyAgain();
    if (ready || look == mostLooks)
        setUpAgain();
    if (ready || route_ == Route::UsersOwn)
        return;
    if (look == looksBeforeLoopbackIsMade && route_ == Route::SystemAudio && !findLoopback())
        makeLoopbackAgain();
    lookLater(look + 1);
}

void KXAudioRouter::lookLater(int look) {
    later(look > mostLooks ? secondsBetweenLateLooks : secondsBetweenLooks, [this, look, number = ++looks_] {
        if (number == looks_)
            lookWhetherReady(look);
    });
}

void KXAudioRouter::lookNowAndThen() { lookLater(mostLooks + 1); }

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
    setUpSystemAudioAgain();
}

void KXAudioRouter::setUpSystemAudioAgain() {
    if (Device loopback = findLoopback())
        blackHoleDevice_ = std::move(loopback);
    const Device own = currentOutputDevice_;
    if (isThere(own)) {
        // Another output may have served until now, and the server may have chosen another default.
        if (simply_.defaultOutput() != own)
            setDefaultOutput(own);
        if (findMultiOutput())
            destroyAggregateDevice();
    } else if (simply_.defaultOutput() == blackHoleDevice_) {
        setDefaultInput(blackHoleDevice_); // nothing to hear the call on, but the transcript goes on
        return;
    }
    setupSystemAudio();
    currentOutputDevice_ = own;
}

} // namespace parlowen
