#include "CallTrial.h"

#include <csignal>
#include <tuple>

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
        {.name = "CallMovesToNewDefault",
         .machine = machine() << headset,
         .steps = {{speak(4), speakers, 6}, {chooseHeadset, heard("Headset")}},
         .lostSeconds = 0.5},
        {.name = "NewCallInNewDefault",
         .machine = machine() << headset,
         .steps = {{speak(2), speakers},
                   {handThenSpeak({{"set-default-sink", "headset"}}, 2), heard("Headset")},
                   {handThenSpeak({{"set-default-sink", "speakers"}}, 2), speakers}}},
        {.name = "DefaultRemoved",
         .machine = {sink("speakers", "Speakers"), headset},
         .steps = {{speak(4), speakers, 6}, {unloadSpeakers, heard("Headset")}},
         .lostSeconds = 0.5},
        {.name = "DefaultRemovedAndBack",
         .machine = {sink("speakers", "Speakers"), headset},
         .steps = {{speak(2), speakers},
                   {unloadSpeakers, heard("Headset"), 2},
                   {speak(1), heard("Headset")},
                   {handThenSpeak({load(sink("speakers", "Speakers")), {"set-default-sink", "speakers"}}, 2),
                    speakers}}},
        {.name = "SourceChosenByHand",
         .machine = machine() + microphone("other", "room2", "Headset Microphone"),
         .steps = {{speak(2, {"room"}), "^microphone · USB Microphone$"},
                   {handThenSpeak({{"set-default-source", "other"}}, 2, {"room2"}),
                    "^microphone · Headset Microphone$"}},
         .sessions = {"microphone"}},
        {.name = "QuietMutedAndBack",
         .machine = machine(),
         .steps = {{handThenSpeak({{"set-sink-volume", "speakers", "10%"}}, 2), speakers},
                   {handThenSpeak({{"set-sink-mute", "speakers", "1"}}, 1, {{}, -1}), "^\"Speakers\" is muted$"},
                   {handThenSpeak({{"set-sink-mute", "speakers", "0"}, {"set-sink-volume", "speakers", "100%"}}, 2),
                    speakers}}},
        {.name = "SinkAndSourceOfOneName",
         .machine = QStringList{sink("speakers", "Twin")} + microphone("twin", "room", "Twin"),
         .steps = {{[](CallTrial& trial) {
                        trial.speak(4);
                        trial.speak(4, {"room", -1});
                    },
                    heard("Twin")}}},
        {.name = "ServerStopped20s",
         .machine = machine(),
         .steps = {{speak(2), speakers},
                   {[](CallTrial& trial) { trial.server().signal(SIGSTOP); }, gone, 20},
                   {[](CallTrial& trial) {
                        trial.server().signal(SIGCONT);
                        trial.wait(3);
                        trial.speak(2);
                    },
                    speakers}},
         .missedSeconds = 24},
        {.name = "ServerRestarted",
         .machine = machine(),
         .steps = {{speak(2), speakers}, {restart, speakers}},
         .missedSeconds = 3},
        {.name = "ServerKilledFor20s",
         .machine = machine(),
         .steps = {{speak(2), speakers},
                   {[](CallTrial& trial) { trial.server().kill(); }, gone, 20},
                   {restart, speakers}},
         .missedSeconds = 24},
        {.name = "ProgramStopped20s",
         .machine = machine(),
         .steps = {{speak(6), speakers, 5},
                   {[](CallTrial& trial) { trial.signalPrograms(SIGSTOP); }, {}, 20},
                   {[](CallTrial& trial) { trial.signalPrograms(SIGCONT); }, speakers}},
         .missedSeconds = 21,
         .stopsProgram = true},
        {.name = "LocalServiceKilled",
         .machine = machine(),
         .steps = {{speak(4), speakers, 5}, {[](CallTrial& trial) { trial.killLocalService(); }, speakers}}},
        {.name = "TokenRefusedOnce",
         .machine = machine(),
         .steps = {{speak(4), speakers, 5}, {[](CallTrial& trial) { trial.refuseToken(); }, speakers}},
         .overNetwork = true},
        {.name = "TwoSessions",
         .machine = machine(),
         .steps = {{[](CallTrial& trial) {
                        trial.speak(4);
                        trial.speak(4, {"room", 1});
                    },
                    "^(computer's sound · Speakers|microphone · USB Microphone)$"}},
         .sessions = {"system", "microphone"}},
        {.name = "CallInAnotherOutput",
         .machine = machine() << headset,
         .steps = {{speak(4, {"headset"}), heard("Headset")}},
         .lostSeconds = 6},
        {.name = "OneProgramOfTwo",
         .machine = machine(),
         .steps = {{[](CallTrial& trial) {
                        trial.speak(4, {{}, 0, "Meeting"});
                        trial.speak(4, {{}, -1, "Radio"});
                    },
                    "^Meeting$", 5},
                   {[](CallTrial&) {}, {}}},
         .sessions = {"app:Meeting"},
         .lostSeconds = 0.5},
    };
    for (const auto& [name, format, errorShare] :
         {std::tuple("Undisturbed", "rate=48000 channels=2", 0.15),
          std::tuple("OutputOf44100Hz", "rate=44100 channels=2", 0.15),
          std::tuple("OutputOf8000HzMono", "rate=8000 channels=1", 0.5),
          std::tuple("OutputOf96000HzSixChannels", "rate=96000 channels=6", 0.15)})
        table.push_back({.name = name,
                         .machine = machine(sink("speakers", "Speakers", format)),
                         .steps = {{speak(4), speakers}},
                         .errorShare = errorShare});
    // What is kept of a minute may be full before the next attempt to connect, ten seconds later at most.
    for (const auto& [name, lines, seconds, silently, missed] :
         {std::tuple("NetworkAwayFor3s", 4, 3, false, 0), std::tuple("NetworkAwayFor15s", 5, 15, false, 0),
          std::tuple("NetworkSilentFor15s", 5, 15, true, 0), std::tuple("NetworkAwayFor60s", 12, 60, false, 11)})
        table.push_back({.name = name,
                         .machine = machine(),
                         .steps = {{speak(lines), speakers, 5}, {cut(seconds, silently), speakers}},
                         .missedSeconds = missed,
                         .overNetwork = true});
    return table;
}

} // namespace

const std::vector<Row>& rows() {
    static const std::vector<Row> table = makeRows();
    return table;
}

} // namespace parlowen::trial
