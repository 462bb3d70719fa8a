#include "CallTrial.h"

#include <csignal>

namespace parlowen::trial {

using testing::control;

namespace {

QString sink(const QString& name, const QString& title, const QString& format = "rate=48000 channels=2") {
    return QStringLiteral("module-null-sink sink_name=%1 %2 sink_properties=\"device.description='%3'\"")
        .arg(name, format, title);
}

/// What is played into the room of that name comes out of the microphone.
QStringList microphone(const QString& name, const QString& room, const QString& title) {
    return {sink(room, title + " Room"), QStringLiteral("module-remap-source master=%1.monitor source_name=%2 "
                                                        "source_properties=\"device.description='%3'\"")
                                             .arg(room, name, title)};
}

QStringList machine(const QString& speakers = sink("speakers", "Speakers")) {
    return QStringList{speakers} + microphone("mic", "room", "USB Microphone");
}

QStringList load(const QString& module) { return {"load-module", module.section(u' ', 0, 0), module.section(u' ', 1)}; }

QString heard(const QString& output) { return "^computer's sound · " + output + "$"; }

auto speak(int lines, const Voice& voice = {}) {
    return [=](CallTrial& trial) { trial.speak(lines, voice); };
}

/// The hand runs pactl, and the call goes on with the next lines.
auto handThenSpeak(const std::vector<QStringList>& commands, int lines, const Voice& voice = {}) {
    return [=](CallTrial& trial) {
        for (const QStringList& command : commands)
            control(command);
        trial.speak(lines, voice);
    };
}

std::vector<Row> makeRows() {
    const QString headset = sink("headset", "Headset"), speakers = heard("Speakers");
    const QString gone = "^the audio server is gone$", reconnecting = "^reconnecting";
    const auto chooseHeadset = [](CallTrial& trial) {
        control({"set-default-sink", "headset"});
        trial.moveCallTo("headset");
    };
    const auto unloadSpeakers = [](CallTrial& trial) { trial.unloadSink("speakers"); };
    const auto cut = [](int seconds, bool silently = false) {
        return [=](CallTrial& trial) { trial.cutNetwork(seconds, silently); };
    };
    const auto restart = [](CallTrial& trial) {
        EXPECT_TRUE(trial.server().restart());
        trial.chooseDefaults();
        trial.wait(3);
        trial.speak(2);
    };

    std::vector<Row> table{
        {"Undisturbed", machine(), {{speak(4), speakers}}},
        {"CallMovesToNewDefault",
         machine() << headset,
         {{speak(4), speakers, 6}, {chooseHeadset, heard("Headset")}},
         {"system"},
         0.8},
        {"NewCallInNewDefault",
         machine() << headset,
         {{speak(2), speakers},
          {handThenSpeak({{"set-default-sink", "headset"}}, 2), heard("Headset")},
          {handThenSpeak({{"set-default-sink", "speakers"}}, 2), speakers}},
         {"system"},
         1},
        {"DefaultRemoved",
         {sink("speakers", "Speakers"), headset},
         {{speak(4), speakers, 6}, {unloadSpeakers, heard("Headset")}},
         {"system"},
         1},
        {"DefaultRemovedAndBack",
         {sink("speakers", "Speakers"), headset},
         {{speak(2), speakers},
          {unloadSpeakers, heard("Headset"), 2},
          {speak(1), heard("Headset")},
          {handThenSpeak({load(sink("speakers", "Speakers")), {"set-default-sink", "speakers"}}, 2), speakers}},
         {"system"},
         1},
        {"SourceChosenByHand",
         machine() + microphone("other", "room2", "Headset Microphone"),
         {{speak(2, {"room"}), "^microphone · USB Microphone$"},
          {handThenSpeak({{"set-default-source", "other"}}, 2, {"room2"}), "^microphone · Headset Microphone$"}},
         {"microphone"},
         1},
        {"OutputOf44100Hz", machine(sink("speakers", "Speakers", "rate=44100 channels=2")), {{speak(4), speakers}}},
        {"OutputOf8000HzMono",
         machine(sink("speakers", "Speakers", "rate=8000 channels=1")),
         {{speak(4), speakers}},
         {"system"},
         0,
         0.5},
        {"OutputOf96000HzSixChannels",
         machine(sink("speakers", "Speakers", "rate=96000 channels=6")),
         {{speak(4), speakers}}},
        {"QuietMutedAndBack",
         machine(),
         {{handThenSpeak({{"set-sink-volume", "speakers", "10%"}}, 2), speakers},
          {handThenSpeak({{"set-sink-mute", "speakers", "1"}}, 1, {{}, -1}), "^\"Speakers\" is muted$"},
          {handThenSpeak({{"set-sink-mute", "speakers", "0"}, {"set-sink-volume", "speakers", "100%"}}, 2), speakers}}},
        {"SinkAndSourceOfOneName",
         QStringList{sink("speakers", "Twin")} + microphone("twin", "room", "Twin"),
         {{[](CallTrial& trial) {
               trial.speak(4);
               trial.speak(4, {"room", -1});
           },
           heard("Twin")}}},
        {"ServerStopped20s",
         machine(),
         {{speak(2), speakers},
          {[](CallTrial& trial) { trial.server().signal(SIGSTOP); }, gone, 20},
          {[](CallTrial& trial) {
               trial.server().signal(SIGCONT);
               trial.wait(3);
               trial.speak(2);
           },
           speakers}},
         {"system"},
         1},
        {"ServerRestarted", machine(), {{speak(2), speakers}, {restart, speakers}}, {"system"}, 1},
        {"ServerKilledFor20s",
         machine(),
         {{speak(2), speakers}, {[](CallTrial& trial) { trial.server().kill(); }, gone, 20}, {restart, speakers}},
         {"system"},
         1},
        {"ProgramStopped20s",
         machine(),
         {{speak(6), speakers, 5},
          {[](CallTrial& trial) { trial.signalPrograms(SIGSTOP); }, {}, 20},
          {[](CallTrial& trial) { trial.signalPrograms(SIGCONT); }, speakers}},
         {"system"},
         21},
        {"LocalServiceKilled",
         machine(),
         {{speak(4), speakers, 5}, {[](CallTrial& trial) { trial.killLocalService(); }, speakers}},
         {"system"}},
        {"TokenRefusedOnce",
         machine(),
         {{speak(4), speakers, 5}, {[](CallTrial& trial) { trial.refuseToken(); }, speakers}},
         {"system"},
         0,
         0.15,
         true},
        {"TwoSessions",
         machine(),
         {{[](CallTrial& trial) {
               trial.speak(4);
               trial.speak(4, {"room", 1});
           },
           "^(computer's sound · Speakers|microphone · USB Microphone)$"}},
         {"system", "microphone"}},
        {"CallInAnotherOutput", machine() << headset, {{speak(4, {"headset"}), heard("Headset")}}, {"system"}, 7},
        {"OneProgramOfTwo",
         machine(),
         {{[](CallTrial& trial) {
               trial.speak(4, {{}, 0, "Meeting"});
               trial.speak(4, {{}, -1, "Radio"});
           },
           "Meeting"}},
         {"app:Meeting"},
         1.5},
    };
    for (const auto& [name, seconds, silently] :
         {std::tuple("NetworkAwayFor3s", 3, false), std::tuple("NetworkAwayFor15s", 15, false),
          std::tuple("NetworkAwayFor60s", 60, false), std::tuple("NetworkSilentFor15s", 15, true)})
        table.push_back({name,
                         machine(),
                         {{speak(seconds > 15 ? 12 : 5), speakers, 5}, {cut(seconds, silently), speakers}},
                         {"system"},
                         seconds > 15 ? 11.0 : 0.0,
                         0.15,
                         true});
    return table;
}

} // namespace

const std::vector<Row>& rows() {
    static const std::vector<Row> table = makeRows();
    return table;
}

} // namespace parlowen::trial
