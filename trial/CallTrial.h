#pragma once

#include <QStringList>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "SpeechNetwork.h"
#include "support/CallSound.h"
#include "support/PrivateAudioServer.h"
#include "support/ProgramRun.h"

/// Whole sessions beside a call, row by row of a table: what happens to the call, and what the transcript then holds,
/// what the window's state chip says, and whether the user's devices are as if the program had not been there.
namespace parlowen::trial {

class CallTrial;

/// Something that happens.
struct Step {
    std::function<void(CallTrial&)> act;
    /// What the state chip says at its end, a regular expression; empty where that is left open.
    QString chip;
    /// How long it lasts; 0: until all that is being said has been said.
    int seconds = 0;
};

struct Row {
    const char* name;
    QStringList machine; ///< the server's modules; the default output is "speakers", the default input "mic"
    std::vector<Step> steps;
    QStringList sessions{QStringLiteral("system")}; ///< what each session hears, as on the command line
    double lostSeconds = 0;    ///< of speech, at most, that nobody can know of: until a new output is found
    int missedSeconds = 0;     ///< at most so much is told to be missed
    double errorShare = 0.15;  ///< of the words that are heard, misheard by the recogniser alone
    bool stopsProgram = false; ///< its main thread stands still, too
    bool overNetwork = false;  ///< the service is reached over a SpeechNetwork
};

/// For messages of tests.
inline void PrintTo(const Row& row, std::ostream* stream) { *stream << row.name; }

/// The table.
const std::vector<Row>& rows();

/// How something is spoken: into a sink (the default output where none is named), by a program of that name, for the
/// session of that number to hear, or for none (-1).
struct Voice {
    QString sink;
    int session = 0;
    QString program = QStringLiteral("Call");
};

/// One run of a row on one server: with the program, or with the hand that acts alone.
class CallTrial {
public:
    CallTrial(const std::string& server, const Row& row, bool withProgram);

    void run();
    /// As it stands at the end, without the program.
    const QStringList& dump() const { return dump_; }
    /// What was said and heard, for people: a line a session.
    std::string report();

    // What steps are made of. What acts on the program or only takes time is left out when the hand acts alone.
    /// Begins to say the next lines of the sample.
    void speak(int lines, const Voice& voice = {});
    void moveCallTo(const QString& sink) const;
    void chooseDefaults() const;
    void unloadSink(const QString& name) const;
    void wait(int seconds) const;
    testing::PrivateAudioServer& server() { return *server_; }
    void signalPrograms(int number) const;
    void killLocalService() const;
    /// The network is away for so long: connections end and none is made, or they stay and carry nothing.
    void cutNetwork(int seconds, bool silently = false) const;
    void refuseToken() const;

private:
    struct Session {
        std::unique_ptr<testing::ProgramRun> run;
        std::string said;
        int nextLine = 0;
    };
    void startSessions();
    void untilSaid();
    /// The newest words of the state chip.
    static QString chipOf(Session& session);
    void expectChip(const QString& pattern);
    void endSessions();
    void expectTranscript(Session& session) const;

    const Row& row_;
    const bool withProgram_;
    const bool isPulseAudio_;
    const std::unique_ptr<testing::PrivateAudioServer> server_;
    const std::shared_ptr<testing::ProgramHome> home_ = std::make_shared<testing::ProgramHome>();
    std::unique_ptr<SpeechNetwork> network_;
    std::vector<Session> sessions_;
    std::vector<std::unique_ptr<testing::Speaker>> speakers_;
    QProcess standIn_; ///< records in the place of the program
    QStringList dump_;
};

} // namespace parlowen::trial
