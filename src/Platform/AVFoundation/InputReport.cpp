#include "InputReport.h"

#include <Foundation/ConsoleLog.h>

#include <utility>

namespace parlowen {

namespace {

QString textOf(InputKind kind) {
    return kind == InputKind::SystemSound ? QStringLiteral("系统声音") : QStringLiteral("麦克风");
}

} // namespace

InputReport::InputReport(InputObserver observer)
    : observer_(std::move(observer)) {}

void InputReport::tell(InputNotice::What what) const {
    if (observer_)
        observer_({what, name_, kind_});
}

void InputReport::listening(const QString& name, InputKind kind) {
    if (!name_.isEmpty() && kind != kind_)
        consoleLog(
            QStringLiteral("[capture] ⚠️ 输入类型已改变：%1 → %2").arg(textOf(kind_), textOf(kind)));
    consoleLog(QStringLiteral("[capture] 正在监听：%1（%2）").arg(name, textOf(kind)));
    name_ = name;
    kind_ = kind;
    watch_ = {};
    saidSilent_ = saidClipping_ = saidNoInput_ = false;
    tell(InputNotice::What::Listening);
}

void InputReport::heard(const AVAudioPCMBuffer& buffer) {
    const InputLevelWatch::State state = watch_.feed(buffer);
    if (!saidSilent_ && watch_.isSilentTooLong()) {
        saidSilent_ = true;
        consoleLog(QStringLiteral("⚠️ 输入设备没有声音：%1（%2）").arg(name_, textOf(kind_)));
        tell(InputNotice::What::Silent);
    } else if (saidSilent_ && state != InputLevelWatch::State::Silent) {
        saidSilent_ = false;
        consoleLog(QStringLiteral("✅ 输入设备有声音了：%1").arg(name_));
        tell(InputNotice::What::SoundAgain);
    }
    if (state == InputLevelWatch::State::Clipping && !saidClipping_) {
        saidClipping_ = true;
        consoleLog(QStringLiteral("⚠️ 输入设备声音过大，已失真：%1").arg(name_));
        tell(InputNotice::What::Clipping);
    }
}

void InputReport::inputLost() const {
    consoleLog(QStringLiteral("[capture] ❌ 输入设备已断开：%1").arg(name_));
    tell(InputNotice::What::InputLost);
}

void InputReport::serverLost(const QString& error) const {
    consoleLog(QStringLiteral("❌ 录音中断，音频服务已断开: %1").arg(error));
    tell(InputNotice::What::ServerLost);
}

void InputReport::noInput() {
    if (std::exchange(saidNoInput_, true))
        return;
    consoleLog(QStringLiteral("[capture] ⚠️ 没有可用的输入设备，等待接入"));
    tell(InputNotice::What::NoInput);
}

void InputReport::gapFilled(double seconds) const {
    consoleLog(QStringLiteral("[capture] 声音中断 %1 秒，已用静音补齐").arg(seconds, 0, 'f', 2));
}

} // namespace parlowen
