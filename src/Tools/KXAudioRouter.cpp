#include "KXAudioRouter.h"

#include "DeviceSearch.h"

#include <CoreAudio/AudioHardwareService.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>

#include <QVariantMap>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

/// From the making of the multi-output device to its use.
constexpr double secondsUntilUse = 1.0;

template<class Test>
std::shared_ptr<AudioDevice> firstOf(const std::vector<std::shared_ptr<AudioDevice>>& devices, const Test& test) {
    const auto found = std::ranges::find_if(devices, test);
    return found == devices.end() ? nullptr : *found;
}

QString statusText(OSStatus status) {
    return QStringLiteral("%1 (0x%2)")
        .arg(status)
        .arg(QString::number(static_cast<std::uint32_t>(status), 16).toUpper());
}

QVariantMap multiOutputDescription(const QString& aggregateUID, const QString& loopbackUID, const QString& outputUID) {
    const QString uid = QStringLiteral("uid");
    return {
        {QStringLiteral("name"), QStringLiteral("tqv Multi-Output")},
        {uid, aggregateUID},
        {QStringLiteral("subdevices"), QVariantList{QVariantMap{{uid, loopbackUID}}, QVariantMap{{uid, outputUID}}}},
        {QStringLiteral("master"), loopbackUID},
        {QStringLiteral("stacked"), 1}};
}

} // namespace

KXAudioRouter& KXAudioRouter::shared() {
    // Never destroyed: it keeps the device layer's listening alive for the life of the process.
    static auto* const router = new KXAudioRouter(AudioHardwareService::shared());
    return *router;
}

KXAudioRouter::Scheduler KXAudioRouter::mainQueue() {
    return [](double seconds, std::function<void()> work) { onMainAfter(seconds, std::move(work)); };
}

KXAudioRouter::KXAudioRouter(std::shared_ptr<AudioServer> server, Scheduler scheduler)
    : server_(std::move(server))
    , scheduler_(std::move(scheduler))
    , simply_(server_)
    , blackHoleDeviceName_(QString::fromUtf8(loopbackDevice::name))
    , aggregateUID_(QStringLiteral("tqv-Multi-Output_UID"))
    , currentOutputDevice_(simply_.defaultOutput())
    , blackHoleDevice_(findLoopback())
    , lifetime_(std::make_shared<int>()) {}

KXAudioRouter::~KXAudioRouter() = default;

KXAudioRouter::Device KXAudioRouter::findLoopback() const {
    return firstOf(simply_.deviceList(),
                   [this](const Device& device) { return device->deviceName() == blackHoleDeviceName_; });
}

KXAudioRouter::Device KXAudioRouter::findMicrophone() const {
    return DeviceSearch::microphone(*server_, simply_.deviceList());
}

KXAudioRouter::Device KXAudioRouter::findMultiOutput() const {
    return firstOf(simply_.aggregateDeviceList(),
                   [this](const Device& device) { return device->deviceUID() == aggregateUID_; });
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
    blackHoleDevice_->makeDefaultInput();
    consoleLog(QStringLiteral("✅ 设置 BlackHole 为默认输入"));
    createAggregateDevice(*loopbackUID, *outputUID);
    scheduler_(secondsUntilUse, [this, alive = std::weak_ptr<int>(lifetime_)] {
        if (!alive.expired())
            useAggregateAsOutput();
    });
}

void KXAudioRouter::createAggregateDevice(const QString& loopbackUID, const QString& outputUID) {
    if (findMultiOutput()) {
        consoleLog(QStringLiteral("🔁 聚合设备已存在"));
        return;
    }
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
    multiOutput->makeDefaultOutput();
    consoleLog(QStringLiteral("✅ 设置聚合设备为默认输出"));
}

void KXAudioRouter::switchInput(bool useMicrophone) {
    const Device input = useMicrophone ? findMicrophone() : blackHoleDevice_;
    if (!input) {
        consoleLog(useMicrophone ? QStringLiteral("❌ 未找到麦克风设备") : QStringLiteral("❌ BlackHole 设备不可用"));
        return;
    }
    input->makeDefaultInput();
    consoleLog(useMicrophone ? QStringLiteral("✅ 切换到麦克风输入：%1").arg(input->deviceName())
                             : QStringLiteral("✅ 切换到系统音频输入（BlackHole）"));
}

void KXAudioRouter::restoreDevices() {
    if (!currentOutputDevice_) {
        consoleLog(QStringLiteral("⚠️ 原始输出设备未记录"));
        return;
    }
    currentOutputDevice_->makeDefaultOutput();
    consoleLog(QStringLiteral("✅ 恢复原始输出设备"));
    if (const Device microphone = findMicrophone()) {
        microphone->makeDefaultInput();
        consoleLog(QStringLiteral("✅ 恢复麦克风输入：%1").arg(microphone->deviceName()));
    }
    destroyAggregateDevice();
}

void KXAudioRouter::destroyAggregateDevice() {
    const Device multiOutput = findMultiOutput();
    if (!multiOutput) {
        consoleLog(QStringLiteral("⚠️ 没有找到需要销毁的聚合设备"));
        return;
    }
    const OSStatus status = server_->destroyAggregateDevice(multiOutput->objectID());
    if (status == kAudioHardwareNoError)
        consoleLog(QStringLiteral("🗑️ 聚合设备销毁成功"));
    else
        consoleLog(QStringLiteral("❌ 聚合设备销毁失败，状态码: %1").arg(statusText(status)));
}

} // namespace parlowen
