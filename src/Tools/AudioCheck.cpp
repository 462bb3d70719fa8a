#include "AudioCheck.h"

#include "DeviceSearch.h"

#include <AVFoundation/ChirpProbe.h>
#include <Tools/SimplyCoreAudio/PropertyAccess.h>

#include <algorithm>

namespace parlowen {

namespace {

using Device = DeviceSearch::Device;
using Kind = AudioCheck::Finding::Kind;

constexpr Phrase noServer{"No audio server answers.", "没有音频服务应答。"};
constexpr Phrase startServer{"Start PulseAudio, or PipeWire with its PulseAudio service, and try again.",
                             "请启动 PulseAudio，或启动带 PulseAudio 服务的 PipeWire，然后重试。"};
constexpr Phrase oneDevice{"The audio server answers and shows 1 device.", "音频服务正常，有 1 个设备。"};
constexpr Phrase devices{"The audio server answers and shows %1 devices.", "音频服务正常，有 %1 个设备。"};
constexpr Phrase noOutput{"There is no default output.", "没有默认输出设备。"};
constexpr Phrase connectOutput{"Connect speakers or headphones, or choose an output in the sound settings.",
                               "请连接扬声器或耳机，或在声音设置中选择输出设备。"};
constexpr Phrase hearsOutput{"A session on the call hears what \"%1\" plays.", "通话面试会听到“%1”播放的声音。"};
constexpr Phrase outputMuted{"That output is muted: neither you nor a session would hear the call.",
                             "该输出设备已静音：您和面试都听不到通话。"};
constexpr Phrase unmute{"Unmute it in the sound settings.", "请在声音设置中取消静音。"};
constexpr Phrase playsElsewhere{"Something plays on \"%1\", which is not the default output.",
                                "“%1”正在播放声音，但它不是默认输出设备。"};
constexpr Phrase turnsThere{
    "A session turns to it when the default output is silent; or choose it in the sound settings.",
    "默认输出无声时面试会转去收听它；也可在声音设置中选择它。"};
constexpr Phrase mayNotRecord{"The audio server does not let this program record.", "音频服务不允许本程序录音。"};
constexpr Phrase allow{"Allow it the microphone in the system's privacy settings.",
                       "请在系统的隐私设置中允许使用麦克风。"};
constexpr Phrase noMicrophone{"There is no microphone.", "没有麦克风。"};
constexpr Phrase connectMicrophone{"Connect one for microphone interviews.", "麦克风面试需要连接麦克风。"};
constexpr Phrase hearsMicrophone{"A microphone interview hears \"%1\".", "麦克风面试会听到“%1”。"};
constexpr Phrase inputMuted{"That microphone is muted: a session on it would hear nothing.",
                            "该麦克风已静音：面试将听不到声音。"};
constexpr Phrase chirpFailed{"The sound check could not be made: %1.", "无法进行声音检测：%1。"};
constexpr Phrase chirpLost{"The chirp did not come back from the output.", "没有从输出设备收到测试音。"};
constexpr Phrase lookForMute{"Look for a muted output or a volume of zero in the sound settings.",
                             "请在声音设置中检查输出是否静音或音量为零。"};
constexpr Phrase chirpCame{"The chirp came back from the output, %1 dB against what was played, %2 ms late.",
                           "从输出设备收到测试音，电平差 %1 dB，延迟 %2 毫秒。"};
constexpr Phrase marks[] = {{"ok      ", "正常    "}, {"note    ", "注意    "}, {"problem ", "问题    "}};

class Check {
public:
    Check(const std::shared_ptr<AudioServer>& server, Language language)
        : server_(*server)
        , language_(language)
        , simply_(server)
        , devices_(simply_.deviceList()) {
        std::erase_if(devices_, [](const Device& device) {
            return device->deviceUID() == QString::fromUtf8(loopbackDevice::uid) || device->isAggregate();
        });
    }

    AudioCheck run(AVAuthorizationStatus permission) {
        if (!PropertyAccess::objects(server_, kAudioObjectSystemObject, PropertyAccess::global(fourCC("dev#")))) {
            add(Kind::Problem, noServer.in(language_), startServer);
            return check_;
        }
        add(Kind::Good, devices_.size() == 1 ? oneDevice.in(language_) : devices.in(language_, devices_.size()));
        output();
        microphone(permission);
        return check_;
    }

private:
    void add(Kind kind, const QString& text, const Phrase& advice = {"", ""}) {
        check_.findings.push_back({kind, text, advice.in(language_)});
    }

    bool flag(const Device& device, FourCharCode selector, FourCharCode scope) {
        const AudioObjectPropertyAddress address{selector, scope};
        return server_.hasProperty(device->objectID(), address) &&
               PropertyAccess::integer(server_, device->objectID(), address) == 1U;
    }

    void output() {
        const Device output = simply_.defaultOutput();
        if (!output) {
            add(Kind::Problem, noOutput.in(language_), connectOutput);
            return;
        }
        add(Kind::Good, hearsOutput.in(language_, output->deviceName()));
        if (flag(output, fourCC("mute"), kAudioObjectPropertyScopeOutput))
            add(Kind::Note, outputMuted.in(language_), unmute);
        const auto runs = [this](const Device& device) {
            return flag(device, fourCC("gone"), kAudioObjectPropertyScopeGlobal);
        };
        for (const Device& other : devices_) {
            if (other != output && DeviceSearch::hasOutput(server_, other) && runs(other) && !runs(output))
                add(Kind::Note, playsElsewhere.in(language_, other->deviceName()), turnsThere);
        }
    }

    void microphone(AVAuthorizationStatus permission) {
        if (permission == AVAuthorizationStatus::Denied) {
            add(Kind::Problem, mayNotRecord.in(language_), allow);
            return;
        }
        const Device found = DeviceSearch::microphone(server_, devices_);
        if (!found) {
            add(Kind::Note, noMicrophone.in(language_), connectMicrophone);
            return;
        }
        add(Kind::Good, hearsMicrophone.in(language_, found->deviceName()));
        if (flag(found, fourCC("mute"), kAudioObjectPropertyScopeInput))
            add(Kind::Note, inputMuted.in(language_), unmute);
    }

    AudioServer& server_;
    const Language language_;
    const SimplyCoreAudio simply_;
    std::vector<Device> devices_;
    AudioCheck check_;
};

} // namespace

bool AudioCheck::isReady() const {
    return std::ranges::none_of(findings, [](const Finding& finding) { return finding.kind == Kind::Problem; });
}

QString AudioCheck::text(Language language) const {
    QString text;
    for (const Finding& finding : findings) {
        text += marks[static_cast<std::size_t>(finding.kind)].in(language) + finding.text + u'\n';
        if (!finding.advice.isEmpty())
            text += QStringLiteral("        ") + finding.advice + u'\n';
    }
    return text;
}

QString AudioCheck::problems() const {
    QStringList lines;
    for (const Finding& finding : findings) {
        if (finding.kind == Kind::Problem)
            lines << finding.text << finding.advice;
    }
    return lines.join(u' ');
}

AudioCheck checkAudio(const std::shared_ptr<AudioServer>& server, Language language, AVAuthorizationStatus permission) {
    return Check(server, language).run(permission);
}

AudioCheck::Finding chirpFinding(const ChirpResult& result, Language language) {
    if (!result.problem.isEmpty())
        return {Kind::Problem, chirpFailed.in(language, result.problem), {}};
    if (!result.arrived)
        return {Kind::Problem, chirpLost.in(language), lookForMute.in(language)};
    return {Kind::Good,
            chirpCame.in(language, QString::number(result.gainDb, 'f', 1), QString::number(result.delayMs, 'f', 0)),
            {}};
}

QString chirpText(const ChirpResult& result, Language language) {
    return AudioCheck{{chirpFinding(result, language)}}.text(language);
}

} // namespace parlowen
