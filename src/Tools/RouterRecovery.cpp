#include "RouterRecovery.h"

#include "AudioRouteNames.h"

#include <Foundation/ConsoleLog.h>
#include <Tools/SimplyCoreAudio/PropertyAccess.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

#include <algorithm>

namespace parlowen {

namespace {

using Device = std::shared_ptr<AudioDevice>;

/// What is different between the two defaults.
struct Side {
    QString name;
    Device (SimplyCoreAudio::*present)() const;
    void (AudioDevice::*makeDefault)();
};

Device deviceOfUID(const SimplyCoreAudio& simply, const QString& uid) {
    const std::vector<Device> devices = simply.deviceList();
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&uid](const Device& device) { return device->deviceUID() == uid; });
    return found == devices.end() ? nullptr : *found;
}

std::optional<QString> uidOf(const Device& device) { return device ? device->deviceUID() : std::nullopt; }

/// What is left to do for this default afterwards.
std::optional<RouterRecord::Change> giveBackDefault(const SimplyCoreAudio& simply, const Side& side,
                                                    const std::optional<RouterRecord::Change>& change, bool* changed) {
    const std::optional<QString> present = uidOf((simply.*side.present)());
    if (!change || !change->was || !present || present == change->was || !change->set.contains(*present))
        return std::nullopt;
    const Device device = deviceOfUID(simply, *change->was);
    if (!device) {
        consoleLog(
            QStringLiteral("⚠️ 上次异常退出前的默认%1已不存在：%2").arg(side.name, *change->was));
        return std::nullopt;
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
                                     bool* changedSomething) {
    const auto answer =
        PropertyAccess::objects(*server, kAudioObjectSystemObject, PropertyAccess::global(fourCC("dev#")));
    if (!answer) {
        if (!record.isEmpty())
            consoleLog(QStringLiteral("⚠️ 音频服务没有应答，设备恢复留到下次启动"));
        return std::nullopt;
    }
    const SimplyCoreAudio simply(server);
    const Side input{QStringLiteral("输入设备"), &SimplyCoreAudio::defaultInput, &AudioDevice::makeDefaultInput};
    const Side output{QStringLiteral("输出设备"), &SimplyCoreAudio::defaultOutput, &AudioDevice::makeDefaultOutput};
    RouterRecord left;
    left.output = giveBackDefault(simply, output, record.output, changedSomething);
    left.input = giveBackDefault(simply, input, record.input, changedSomething);
    left.multiOutput = removeMultiOutput(*server, simply, changedSomething);
    return left;
}

} // namespace parlowen
