#include "InputReport.h"

#include <Foundation/ConsoleLog.h>

#include <cmath>
#include <cstddef>
#include <utility>

namespace parlowen {

namespace {

QString textOf(InputKind kind) {
    switch (kind) {
    case InputKind::SystemSound:
        return QStringLiteral("系统声音");
    case InputKind::Application:
        return QStringLiteral("应用声音");
    case InputKind::Microphone:
        break;
    }
    return QStringLiteral("麦克风");
}

struct Peaks {
    float highest = 0;
    bool clip = false; ///< a hundredth of the samples or more are at full scale
};

Peaks peaksOf(const AVAudioPCMBuffer& buffer) {
    constexpr float fullScale = 0.999F;
    Peaks peaks;
    std::size_t atFullScale = 0;
    const auto channels = static_cast<std::size_t>(buffer.format().channelCount());
    const float* samples = buffer.floatChannelData(0);
    const std::size_t count = samples ? buffer.frameLength() * channels : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const float level = std::abs(samples[i]);
        peaks.highest = peaks.highest < level ? level : peaks.highest;
        atFullScale += level >= fullScale ? 1U : 0U;
    }
    peaks.clip = count > 0 && atFullScale * 100 >= count;
    return peaks;
}

} // namespace

InputReport::InputReport(InputObserver observer)
    : observer_(std::move(observer)) {}

template<class Change>
void InputReport::change(const Change& change) {
    InputStatus next = status_;
    change(next);
    if (next == status_)
        return;
    status_ = std::move(next);
    if (observer_.changed)
        observer_.changed(status_);
}

void InputReport::listening(InputKind kind, const QString& name, Time now) {
    if (!status_.name.isEmpty() && kind != status_.kind)
        consoleLog(QStringLiteral("[capture] ⚠️ 输入类型已改变：%1 → %2")
                       .arg(textOf(status_.kind), textOf(kind)));
    consoleLog(QStringLiteral("[capture] 正在监听：%1（%2）").arg(name, textOf(kind)));
    lastSound_ = now;
    saidSilent_ = false;
    change([&](InputStatus& status) {
        status.state = InputStatus::State::Listening;
        status.kind = kind;
        status.name = name;
        status.quietSeconds = 0;
        status.clipping = false;
        status.problem.clear();
    });
}

void InputReport::setDevice(const QString& name, bool muted) {
    change([&](InputStatus& status) {
        status.name = name;
        status.muted = muted;
    });
}

void InputReport::heard(const AVAudioPCMBuffer& buffer, Time now) {
    const Peaks peaks = peaksOf(buffer);
    if (observer_.meter)
        observer_.meter->note(peaks.highest);
    if (peaks.highest < nearSilence) {
        tick(now);
        return;
    }
    lastSound_ = now;
    sayWhetherSilent(Time(0));
    if (peaks.clip && !status_.clipping)
        consoleLog(QStringLiteral("⚠️ 输入设备声音过大，已失真：%1").arg(status_.name));
    change([&](InputStatus& status) {
        status.heardSound = true;
        status.quietSeconds = 0;
        status.clipping = peaks.clip;
    });
}

void InputReport::tick(Time now) {
    if (status_.state != InputStatus::State::Listening)
        return;
    sayWhetherSilent(quiet(now));
    change([&](InputStatus& status) {
        status.quietSeconds = static_cast<int>(std::chrono::floor<std::chrono::seconds>(quiet(now)).count());
        status.clipping = status.clipping && status.quietSeconds == 0;
    });
}

void InputReport::sayWhetherSilent(Time quiet) {
    if (!saidSilent_ && quiet >= (status_.heardSound ? patienceLater : patienceAtStart)) {
        saidSilent_ = true;
        consoleLog(
            QStringLiteral("⚠️ 输入设备没有声音：%1（%2）").arg(status_.name, textOf(status_.kind)));
    } else if (saidSilent_ && quiet == Time(0)) {
        saidSilent_ = false;
        consoleLog(QStringLiteral("✅ 输入设备有声音了：%1").arg(status_.name));
    }
}

void InputReport::setElsewhere(const QString& uid, const QString& name) {
    change([&](InputStatus& status) {
        status.elsewhereUID = uid;
        status.elsewhereName = name;
    });
}

void InputReport::stopped(InputStatus::State state, const QString& problem, const QString& line) {
    if (status_.state == state)
        return;
    consoleLog(line);
    change([&](InputStatus& status) {
        status.state = state;
        status.problem = problem;
        status.quietSeconds = 0;
        status.muted = status.clipping = false;
        status.elsewhereUID.clear();
        status.elsewhereName.clear();
    });
}

void InputReport::inputLost() {
    stopped(InputStatus::State::InputLost, {}, QStringLiteral("[capture] ❌ 输入设备已断开：%1").arg(status_.name));
}

void InputReport::serverLost(const QString& error) {
    stopped(InputStatus::State::ServerLost, error, QStringLiteral("❌ 录音中断，音频服务已断开: %1").arg(error));
}

void InputReport::refused(const QString& error) {
    stopped(InputStatus::State::Refused, error, QStringLiteral("❌ 音频服务不允许录音: %1").arg(error));
}

void InputReport::noInput(InputKind kind, const QString& name) {
    change([&](InputStatus& status) { // first: what is told then is about that
        status.kind = kind;
        status.name = name.isEmpty() ? status.name : name;
    });
    stopped(InputStatus::State::NoInput, {},
            QStringLiteral("[capture] ⚠️ 没有可用的输入设备，等待接入"));
}

void InputReport::gap(double missed, double filled) const {
    consoleLog(
        QStringLiteral("[capture] 声音中断 %1 秒，已用静音补齐 %2 秒").arg(missed, 0, 'f', 2).arg(filled, 0, 'f', 2));
    if (missed >= 1 && observer_.missed)
        observer_.missed(missed);
}

} // namespace parlowen
