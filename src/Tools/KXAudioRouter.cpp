#include "KXAudioRouter.h"

#include "AudioRouteNames.h"
#include "DeviceSearch.h"

#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Tools/SimplyCoreAudio/PropertyAccess.h>

#include <QVariantMap>
#include <utility>

namespace parlowen {

namespace {

using DeviceSearch::firstOf;
using DeviceSearch::uidOf;

/// The server may announce a new device before it can be used.
constexpr double secondsUntilUse = 1.0;

QString statusText(OSStatus status) {
    return QStringLiteral("%1 (0x%2)")
        .arg(status)
        .arg(QString::number(static_cast<std::uint32_t>(status), 16).toUpper());
}

QVariantMap multiOutputDescription(const QString& aggregateUID, const QString& loopbackUID, const QString& outputUID) {
    const QString uid = QStringLiteral("uid");
    return {
        {QStringLiteral("name"), AudioRouteNames::multiOutput()},
        {uid, aggregateUID},
        {QStringLiteral("subdevices"), QVariantList{QVariantMap{{uid, loopbackUID}}, QVariantMap{{uid, outputUID}}}},
        {QStringLiteral("master"), loopbackUID},
        {QStringLiteral("stacked"), 1}};
}

} // namespace

KXAudioRouter& KXAudioRouter::shared() {
    // Never destroyed: it keeps the device layer's listening alive for the life of the process.
    static auto* const router = new KXAudioRouter(AudioHardwareService::shared(), std::make_shared<RouterJournal>());
    return *router;
}

KXAudioRouter::Scheduler KXAudioRouter::mainQueue() {
    return [](double seconds, std::function<void()> work) { onMainAfter(seconds, std::move(work)); };
}

KXAudioRouter::KXAudioRouter(std::shared_ptr<AudioServer> server, std::shared_ptr<RouterJournal> journal,
                             Scheduler scheduler, LoopbackDevice::Creator makeLoopback)
    : server_(std::move(server))
    , journal_(std::move(journal))
    , scheduler_(std::move(scheduler))
    , makeLoopback_(std::move(makeLoopback))
    , simply_(server_)
    , blackHoleDeviceName_(AudioRouteNames::loopbackDevice())
    , aggregateUID_(AudioRouteNames::multiOutputUID())
    , currentOutputDevice_(simply_.defaultOutput())
    , blackHoleDevice_(findLoopback())
    , lifetime_(std::make_shared<int>()) {
    watchForRestarts();
}

KXAudioRouter::Device KXAudioRouter::findLoopback() const {
    return firstOf(simply_.deviceList(),
                   [this](const Device& device) { return device->deviceName() == blackHoleDeviceName_; });
}

KXAudioRouter::Device KXAudioRouter::findMicrophone() const {
    return firstOf(simply_.deviceList(), DeviceSearch::isMicrophone);
}

KXAudioRouter::Device KXAudioRouter::findMultiOutput() const {
    return firstOf(simply_.aggregateDeviceList(),
                   [this](const Device& device) { return device->deviceUID() == aggregateUID_; });
}

/// Within a session the default may be the server's choice.
void KXAudioRouter::rememberOwnInput() {
    const Device now = simply_.defaultInput();
    if (route_ == Route::UsersOwn && now && now != blackHoleDevice_)
        ownInput_ = now;
}

void KXAudioRouter::setDefaultInput(const Device& device) {
    if (const std::optional<QString> uid = device->deviceUID())
        journal_->willSetInput(uidOf(simply_.defaultInput()), *uid);
    device->makeDefaultInput();
}

void KXAudioRouter::setDefaultOutput(const Device& device) {
    if (const std::optional<QString> uid = device->deviceUID())
        journal_->willSetOutput(uidOf(simply_.defaultOutput()), *uid);
    device->makeDefaultOutput();
}

bool KXAudioRouter::serverAnswers() const {
    return PropertyAccess::objects(*server_, kAudioObjectSystemObject, PropertyAccess::global(fourCC("dev#")))
        .has_value();
}

void KXAudioRouter::later(double seconds, std::function<void()> work) {
    scheduler_(seconds, [alive = std::weak_ptr<int>(lifetime_), work = std::move(work)] {
        if (!alive.expired())
            work();
    });
}

void KXAudioRouter::setupSystemAudio() {
    const Device output = blackHoleDevice_ ? simply_.defaultOutput() : nullptr;
    const std::optional<QString> loopbackUID = output ? blackHoleDevice_->deviceUID() : std::nullopt;
    const std::optional<QString> outputUID = loopbackUID ? output->deviceUID() : std::nullopt;
    if (!outputUID || blackHoleDevice_->isAggregate() || output->isAggregate()) {
        consoleLog(QStringLiteral("❌ 找不到合法的 BlackHole 或输出设备"));
        return;
    }
    currentOutputDevice_ = output;
    rememberOwnInput();
    route_ = Route::SystemAudio;
    dropLooks();
    setDefaultInput(blackHoleDevice_);
    consoleLog(QStringLiteral("✅ 设置 BlackHole 为默认输入"));
    createAggregateDevice(*loopbackUID, *outputUID);
    later(secondsUntilUse, [this] { useAggregateAsOutput(); });
}

void KXAudioRouter::createAggregateDevice(const QString& loopbackUID, const QString& outputUID) {
    if (findMultiOutput()) {
        consoleLog(QStringLiteral("🔁 聚合设备已存在"));
        return;
    }
    journal_->willMakeMultiOutput();
    AudioObjectID made = kAudioObjectUnknown;
    const OSStatus status =
        server_->createAggregateDevice(multiOutputDescription(aggregateUID_, loopbackUID, outputUID), made);
    if (status == kAudioHardwareNoError)
        consoleLog(QStringLiteral("✅ 成功创建聚合设备 ID: %1").arg(made));
    else
        consoleLog(QStringLiteral("❌ 创建聚合设备失败，状态码: %1").arg(statusText(status)));
}

void KXAudioRouter::useAggregateAsOutput() {
    const Device multiOutput = findMultiOutput();
    if (!multiOutput) {
        consoleLog(QStringLiteral("❌ 聚合设备未找到"));
        return;
    }
    setDefaultOutput(multiOutput);
    consoleLog(QStringLiteral("✅ 设置聚合设备为默认输出"));
}

void KXAudioRouter::switchInput(bool useMicrophone) {
    const Device input = useMicrophone ? findMicrophone() : blackHoleDevice_;
    if (!input) {
        consoleLog(useMicrophone ? QStringLiteral("❌ 未找到麦克风设备") : QStringLiteral("❌ BlackHole 设备不可用"));
        return;
    }
    rememberOwnInput();
    if (useMicrophone)
        route_ = Route::Microphone;
    setDefaultInput(input);
    consoleLog(useMicrophone ? QStringLiteral("✅ 切换到麦克风输入：%1").arg(input->deviceName())
                             : QStringLiteral("✅ 切换到系统音频输入（BlackHole）"));
}

void KXAudioRouter::restoreDevices() {
    route_ = Route::UsersOwn;
    dropLooks();
    if (!currentOutputDevice_) {
        consoleLog(QStringLiteral("⚠️ 原始输出设备未记录"));
        return;
    }
    setDefaultOutput(currentOutputDevice_);
    consoleLog(QStringLiteral("✅ 恢复原始输出设备"));
    const Device input = giveInputBack();
    const bool multiOutputIsGone = destroyAggregateDevice();
    noteWhatIsBack(input, multiOutputIsGone);
}

/// The device that is the default input now on the router's account, if any.
KXAudioRouter::Device KXAudioRouter::giveInputBack() {
    if (Device microphone = findMicrophone()) {
        setDefaultInput(microphone);
        consoleLog(QStringLiteral("✅ 恢复麦克风输入：%1").arg(microphone->deviceName()));
        return microphone;
    }
    // The next call must not hear the loop-back device only because the user's input goes by another name.
    if (!ownInput_ || !isThere(ownInput_) || simply_.defaultInput() != blackHoleDevice_)
        return nullptr;
    setDefaultInput(ownInput_);
    return ownInput_;
}

/// False when the device may be left.
bool KXAudioRouter::destroyAggregateDevice() {
    const Device multiOutput = findMultiOutput();
    if (!multiOutput) {
        consoleLog(QStringLiteral("⚠️ 没有找到需要销毁的聚合设备"));
        return serverAnswers();
    }
    const OSStatus status = server_->destroyAggregateDevice(multiOutput->objectID());
    if (status == kAudioHardwareNoError)
        consoleLog(QStringLiteral("🗑️ 聚合设备销毁成功"));
    else
        consoleLog(QStringLiteral("❌ 聚合设备销毁失败，状态码: %1").arg(statusText(status)));
    return status == kAudioHardwareNoError;
}

/// Whether the user hears what is played: on their own output, or, where that is gone, on another one.
bool KXAudioRouter::outputIsBack() const {
    const Device now = simply_.defaultOutput();
    return now == currentOutputDevice_ ||
           (now && !isThere(currentOutputDevice_) && now != blackHoleDevice_ && now != findMultiOutput());
}

void KXAudioRouter::noteWhatIsBack(const Device& input, bool multiOutputIsGone) {
    RouterJournal::Returned back{false, false, false};
    if (serverAnswers()) {
        back.input = !input || simply_.defaultInput() == input || !isThere(input);
        back.output = outputIsBack();
        back.multiOutput = multiOutputIsGone;
        journal_->gaveBack(back);
        if (!back.output && !isThere(currentOutputDevice_))
            lookNowAndThen();
    }
    if (!back.input || !back.output || !back.multiOutput)
        route_ = Route::ToBeGivenBack;
}

} // namespace parlowen
