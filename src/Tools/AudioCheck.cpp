#include "AudioCheck.h"

#include "AudioRouteNames.h"
#include "DeviceSearch.h"

#include <Tools/SimplyCoreAudio/PropertyAccess.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>

#include <algorithm>

namespace parlowen {

namespace {

using DeviceSearch::firstOf;
using Device = std::shared_ptr<AudioDevice>;
using Kind = AudioCheck::Finding::Kind;

bool isMuted(AudioServer& server, const Device& device, FourCharCode scope) {
    const AudioObjectPropertyAddress mute{fourCC("mute"), scope};
    return server.hasProperty(device->objectID(), mute) &&
           PropertyAccess::integer(server, device->objectID(), mute) == 1U;
}

bool hasOutput(AudioServer& server, const Device& device) {
    return server.hasProperty(device->objectID(), {fourCC("volm"), kAudioObjectPropertyScopeOutput});
}

class Check {
public:
    explicit Check(const std::shared_ptr<AudioServer>& server)
        : server_(*server)
        , simply_(server)
        , devices_(simply_.deviceList())
        , loopback_(firstOf(devices_, [](const Device& device) {
            return device->deviceName() == AudioRouteNames::loopbackDevice();
        })) {}

    AudioCheck run(AVAuthorizationStatus permission) {
        if (!PropertyAccess::objects(server_, kAudioObjectSystemObject, PropertyAccess::global(fourCC("dev#")))) {
            add(Kind::Problem, QStringLiteral("No audio server answers."),
                QStringLiteral("Start PulseAudio, or PipeWire with its PulseAudio service, and try again."));
            return check_;
        }
        add(Kind::Good, QStringLiteral("The audio server answers and shows %1.")
                            .arg(devices_.size() == 1 ? QStringLiteral("1 device")
                                                      : QStringLiteral("%1 devices").arg(devices_.size())));
        loopback();
        output();
        input();
        microphone(permission);
        return check_;
    }

private:
    void add(Kind kind, const QString& text, const QString& advice = {}) {
        check_.findings.push_back({kind, text, advice});
    }

    void loopback() {
        if (loopback_) {
            add(Kind::Good,
                QStringLiteral("The loop-back device \"%1\" is there.").arg(AudioRouteNames::loopbackDevice()));
            if (isMuted(server_, loopback_, kAudioObjectPropertyScopeInput) ||
                isMuted(server_, loopback_, kAudioObjectPropertyScopeOutput))
                add(Kind::Problem, QStringLiteral("The loop-back device is muted: a session would hear nothing."),
                    QStringLiteral("Unmute it and its monitor in the sound settings."));
            return;
        }
        const Device similar = firstOf(devices_, [](const Device& device) {
            return device->deviceName().startsWith(QStringLiteral("vorlanOutput"), Qt::CaseInsensitive);
        });
        if (similar)
            add(Kind::Problem,
                QStringLiteral("The device \"%1\" is not taken for the loop-back device, whose name must be \"%2\".")
                    .arg(similar->deviceName(), AudioRouteNames::loopbackDevice()),
                QStringLiteral("Its description has to be quoted where it is configured, because of the blank."));
        else
            add(Kind::Problem,
                QStringLiteral("There is no loop-back device \"%1\".").arg(AudioRouteNames::loopbackDevice()),
                QStringLiteral("Run 'parlowen --setup-audio', which creates it until the audio server ends."));
    }

    void output() {
        const Device output = simply_.defaultOutput();
        if (!output) {
            add(Kind::Problem, QStringLiteral("There is no default output."),
                QStringLiteral("Connect speakers or headphones, or choose an output in the sound settings."));
        } else if (output->deviceUID() == AudioRouteNames::multiOutputUID()) {
            add(Kind::Problem,
                QStringLiteral("Sound goes to \"%1\": a session runs, or was not ended properly.")
                    .arg(output->deviceName()),
                QStringLiteral("End it, and any other parlowen, and run 'parlowen --check-audio' again, which then "
                               "removes what was left."));
        } else if (output->isAggregate()) {
            add(Kind::Problem,
                QStringLiteral("Sound goes to \"%1\", which combines other devices.").arg(output->deviceName()),
                QStringLiteral("Choose a single device as the output in the sound settings."));
        } else if (output == loopback_) {
            add(Kind::Problem, QStringLiteral("Sound goes to the loop-back device alone: nobody hears it."),
                QStringLiteral("Choose your speakers or headphones as the output in the sound settings."));
        } else {
            add(Kind::Good, QStringLiteral("Sound goes to \"%1\".").arg(output->deviceName()));
            if (isMuted(server_, output, kAudioObjectPropertyScopeOutput))
                add(Kind::Note, QStringLiteral("That output is muted: you would not hear the call."),
                    QStringLiteral("Unmute it in the sound settings."));
        }
    }

    void input() {
        const Device input = simply_.defaultInput();
        if (!input) {
            add(Kind::Note, QStringLiteral("There is no default input."),
                QStringLiteral("A session chooses one by itself."));
            return;
        }
        const Device output = simply_.defaultOutput();
        if (input != loopback_ && output && output->deviceUID() == AudioRouteNames::multiOutputUID())
            add(Kind::Problem,
                QStringLiteral("A session on the call's own sound runs, but what it hears is \"%1\".")
                    .arg(input->deviceName()),
                QStringLiteral("Choose the monitor of \"%1\" as the input in the sound settings.")
                    .arg(AudioRouteNames::loopbackDevice()));
        else
            add(Kind::Good, QStringLiteral("The default input is \"%1\".").arg(input->deviceName()));
        if (input != loopback_ && isMuted(server_, input, kAudioObjectPropertyScopeInput))
            add(Kind::Note, QStringLiteral("That input is muted: a session on it would hear nothing."),
                QStringLiteral("Unmute it in the sound settings."));
    }

    void microphone(AVAuthorizationStatus permission) {
        const Device found = firstOf(devices_, DeviceSearch::isMicrophone);
        if (permission == AVAuthorizationStatus::Denied)
            add(Kind::Problem, QStringLiteral("The audio server does not let this program record."),
                QStringLiteral("Allow it the microphone in the system's privacy settings."));
        else if (permission != AVAuthorizationStatus::Authorized)
            add(Kind::Note, QStringLiteral("The audio server shows nothing but its own sound to record from."),
                QStringLiteral("Connect a microphone for microphone interviews."));
        else if (found)
            add(Kind::Good, QStringLiteral("A microphone interview would use \"%1\".").arg(found->deviceName()));
        else
            microphoneByDefault();
    }

    void microphoneByDefault() {
        const Device input = simply_.defaultInput();
        const QString noneNamed = QStringLiteral("No device has \"microphone\" or \"麦克风\" in its name");
        if (input && hasOutput(server_, input))
            add(Kind::Note,
                noneNamed + QStringLiteral(", and the default input gives what \"%1\" plays.").arg(input->deviceName()),
                QStringLiteral("For microphone interviews, choose a microphone as the input in the sound settings."));
        else
            add(Kind::Note, noneNamed + u'.',
                QStringLiteral("A microphone interview keeps the default input: choose it in the sound settings."));
    }

    AudioServer& server_;
    const SimplyCoreAudio simply_;
    const std::vector<Device> devices_;
    const Device loopback_;
    AudioCheck check_;
};

} // namespace

bool AudioCheck::isReady() const {
    return std::none_of(findings.begin(), findings.end(),
                        [](const Finding& finding) { return finding.kind == Kind::Problem; });
}

QString AudioCheck::text() const {
    QString text;
    for (const Finding& finding : findings) {
        const QString mark = finding.kind == Kind::Good   ? QStringLiteral("ok      ")
                             : finding.kind == Kind::Note ? QStringLiteral("note    ")
                                                          : QStringLiteral("problem ");
        text += mark + finding.text + u'\n';
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

AudioCheck checkAudio(const std::shared_ptr<AudioServer>& server, AVAuthorizationStatus permission) {
    return Check(server).run(permission);
}

} // namespace parlowen
