#include "SessionInput.h"

#include "AudioRouteNames.h"

namespace parlowen::SessionInput {

namespace {

std::optional<Problem> wrongInput(bool systemAudio, const InputNotice& notice) {
    // A monitor is described by words of the server's own around the name of its device.
    const bool isLoopback =
        notice.kind == InputKind::SystemSound && notice.name.contains(AudioRouteNames::loopbackDevice());
    if (systemAudio && !isLoopback)
        return Problem{QStringLiteral("the session hears \"%1\", not the loop-back device: the call is not heard")
                           .arg(notice.name),
                       QStringLiteral("当前输入“%1”不是回环设备，听不到通话声音").arg(notice.name)};
    if (!systemAudio && notice.kind == InputKind::SystemSound)
        return Problem{
            QStringLiteral("the session hears \"%1\", which gives what is played, not a microphone").arg(notice.name),
            QStringLiteral("当前输入“%1”不是麦克风").arg(notice.name)};
    return std::nullopt;
}

} // namespace

std::optional<Problem> problem(bool systemAudio, const InputNotice& notice) {
    switch (notice.what) {
    case InputNotice::What::Listening:
        return wrongInput(systemAudio, notice);
    case InputNotice::What::Silent:
        return Problem{QStringLiteral("the input \"%1\" is silent: look for a muted device").arg(notice.name),
                       QStringLiteral("输入设备没有声音：%1").arg(notice.name)};
    case InputNotice::What::Clipping:
        return Problem{QStringLiteral("the input \"%1\" is too loud and distorted").arg(notice.name),
                       QStringLiteral("输入设备声音过大，已失真：%1").arg(notice.name)};
    case InputNotice::What::InputLost:
        return Problem{QStringLiteral("the input \"%1\" is gone").arg(notice.name),
                       QStringLiteral("输入设备已断开：%1").arg(notice.name)};
    case InputNotice::What::ServerLost:
        return Problem{QStringLiteral("the audio server is gone; the session goes on when it is back"),
                       QStringLiteral("音频服务已断开，恢复后继续")};
    case InputNotice::What::NoInput:
        return Problem{QStringLiteral("there is no input to record from; the session goes on when there is one"),
                       QStringLiteral("没有可用的输入设备")};
    case InputNotice::What::SoundAgain:
        break;
    }
    return std::nullopt;
}

} // namespace parlowen::SessionInput
