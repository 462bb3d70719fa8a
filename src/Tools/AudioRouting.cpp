#include "AudioRouting.h"

#include <Foundation/ConsoleLog.h>

namespace parlowen {

AudioRouting::~AudioRouting() = default;

void LoggingAudioRouter::setupSystemAudio() {
    consoleLog(QStringLiteral("⚠️ 音频设备未切换：系统声音"));
}

void LoggingAudioRouter::switchInput(bool useMicrophone) {
    consoleLog(useMicrophone ? QStringLiteral("⚠️ 音频设备未切换：麦克风")
                             : QStringLiteral("⚠️ 音频设备未切换：虚拟声卡"));
}

void LoggingAudioRouter::restoreDevices() { consoleLog(QStringLiteral("⚠️ 音频设备未改动，无需恢复")); }

} // namespace parlowen
