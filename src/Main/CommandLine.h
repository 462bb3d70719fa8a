#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace parlowen {

/// What the command line asks for.
struct CommandLine {
    enum class Action {
        Rehearse,     ///< run a session on a recorded interview
        Interview,    ///< run a session on the call's own sound or the microphone
        Shell,        ///< open the program's windows
        CheckAudio,   ///< say what audio devices there are and what is missing
        CheckAnswers, ///< ask one question and say how long its answer took
        Print,        ///< write `message` to standard output and end with status 0
        Refuse,       ///< write `message` to standard error and end with status 2
    };

    Action action = Action::Refuse;
    QString message;

    /// What the windows do as soon as somebody is signed in.
    enum class Start { Nothing, Interview, Rehearsal };

    Start start = Start::Nothing;
    QString page;             ///< the name of the page that the windows show; empty for the first one
    QString file;             ///< the recorded interview
    bool systemAudio = false; ///< an interview hears what is played, else the microphone
    QString application;      ///< of what is played, only what the program of this name plays; empty for everything
    bool listen = false;      ///< the audio check plays a chirp and listens for it
    bool headless = false;
    bool json = false;
    bool verbose = false; ///< the console log goes to standard error
    bool manual = false;  ///< answers are asked for by the answer button, not for every sentence
    QString screenshot;   ///< PNG file for the window's picture at the end; empty for none
    QString backend;      ///< the backend's API base URL; empty for the one of the environment, settings or build
    QString language;     ///< recognition locale, such as "en-US"; empty for the stored one
    QString translateTo;  ///< translation target, such as "es"; empty for the stored setting

    /// Whether a session has a window: a headless one has it, off screen, for its picture alone.
    bool showsWindow() const { return !headless || !screenshot.isEmpty(); }
    /// That page's index; none without one.
    std::optional<int> pageIndex() const;
};

/// Reads the arguments, the program's own name first. A language for the program holds from then on, also for what is
/// refused.
CommandLine parseCommandLine(const QStringList& arguments);

} // namespace parlowen
