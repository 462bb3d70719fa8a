#include "RouterRecovery.h"

#include "AudioRouteNames.h"
#include "DeviceSearch.h"

#include <Foundation/ConsoleLog.h>
#include <Tools/SimplyCoreAudio/PropertyAccess.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

namespace parlowen {

namespace {

using DeviceSearch::uidOf;
using Device = std::shared_ptr<AudioDevice>;

/// What is different between the two defaults.
struct Side {
    QString name;
    Device (SimplyCoreAudio::*present)() const;
    void (AudioDevice::*makeDefault)();
    Device (*standIn)(const SimplyCoreAudio& simply); ///< for one that is absent; null where the server sees to that
};

Device deviceOfUID(const SimplyCoreAudio& simply, const QString& uid) {
    return DeviceSearch::firstOf(simply.deviceList(),
                                 [&uid](const Device& device) { return device->deviceUID() == uid; });
}

Device microphone(const SimplyCoreAudio& simply) {
    return DeviceSearch::firstOf(simply.deviceList(), DeviceSearch::isMicrophone);
}

/// While the user's own device is absent. What is left to do afterwards: as long as nobody chooses another, it is
/// waited for.
std::optional<RouterRecord::Change> useStandIn(const SimplyCoreAudio& simply, const Side& side,
                                               RouterRecord::Change change, const QString& present, bool* changed) {
    if (!side.standIn || !change.set.contains(present))
        return std::nullopt;
    const Device device = side.standIn(simply);
    const std::optional<QString> uid = uidOf(device);
    if (uid && uid != present) {
        ((*device).*side.makeDefault)();
        consoleLog(QStringLiteral("✅ 暂用的默认%1：%2").arg(side.name, device->deviceName()));
        change.set.append(*uid);
        *changed = true;
    }
    return change;
}

/// What is left to do for this default afterwards.
std::optional<RouterRecord::Change> giveBackDefault(const SimplyCoreAudio& simply, const Side& side,
                                                    const std::optional<RouterRecord::Change>& change, bool serverChose,
                                                    bool* changed) {
    if (!change || !change->was)
        return std::nullopt;
    const std::optional<QString> present = uidOf((simply.*side.present)());
    if (!present)
        return change; // the server has not chosen yet
    if (present == change->was || !(serverChose || change->set.contains(*present)))
        return std::nullopt;
    const Device device = deviceOfUID(simply, *change->was);
    if (!device) {
        consoleLog(
            QStringLiteral("⚠️ 上次异常退出前的默认%1已不存在：%2").arg(side.name, *change->was));
        return useStandIn(simply, side, *change, *present, changed);
    }
    ((*device).*side.makeDefault)();
    if (uidOf((simply.*side.present)()) != change->was) {
        consoleLog(QStringLiteral("❌ 上次异常退出前的默认%1恢复失败：%2").arg(side.name, device->deviceName()));
        return change;
    }
    consoleLog(QStringLiteral("✅ 已恢复上次异常退出前的默认%1：%2").arg(side.name, device->deviceName()));
    *changed = true;
    return std::nullopt;
}

/// Whether a multi-output device is left afterwards.
bool removeMultiOutput(AudioServer& server, const SimplyCoreAudio& simply, bool* changed) {
    const Device device = deviceOfUID(simply, AudioRouteNames::multiOutputUID());
    if (!device)
        return false;
    const OSStatus status = server.destroyAggregateDevice(device->objectID());
    if (status != kAudioHardwareNoError) {
        consoleLog(QStringLiteral("❌ 上次遗留的聚合设备删除失败，状态码: %1").arg(status));
        return true;
    }
    consoleLog(QStringLiteral("🗑️ 已删除上次遗留的聚合设备"));
    *changed = true;
    return false;
}

} // namespace

std::optional<RouterRecord> giveBack(const std::shared_ptr<AudioServer>& server, const RouterRecord& record,
                                     bool machineRestarted, bool* changedSomething) {
    const auto answer =
        PropertyAccess::objects(*server, kAudioObjectSystemObject, PropertyAccess::global(fourCC("dev#")));
    if (!answer) {
        if (!record.isEmpty())
            consoleLog(QStringLiteral("⚠️ 音频服务没有应答，设备恢复留到下次启动"));
        return std::nullopt;
    }
    const SimplyCoreAudio simply(server);
    const Side input{QStringLiteral("输入设备"), &SimplyCoreAudio::defaultInput, &AudioDevice::makeDefaultInput,
                     microphone};
    const Side output{QStringLiteral("输出设备"), &SimplyCoreAudio::defaultOutput, &AudioDevice::makeDefaultOutput,
                      nullptr};
    const bool serverChose =
        (record.multiOutput || machineRestarted) && !deviceOfUID(simply, AudioRouteNames::multiOutputUID());
    RouterRecord left;
    left.output = giveBackDefault(simply, output, record.output, serverChose, changedSomething);
    left.input = giveBackDefault(simply, input, record.input, serverChose, changedSomething);
    left.multiOutput =
        removeMultiOutput(*server, simply, changedSomething) || (serverChose && (left.output || left.input));
    return left;
}

} // namespace parlowen
