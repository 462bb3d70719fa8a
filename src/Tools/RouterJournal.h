#pragma once

#include "ProcessIdentity.h"

#include <QStringList>
#include <memory>

namespace parlowen {

class AudioServer;

/// What the router changed and has not given back yet. UIDs name the devices.
struct RouterRecord {
    /// One default device.
    struct Change {
        std::optional<QString> was; ///< the user's own; none when there was none
        QStringList set;            ///< what the router made the default since, in order

        bool operator==(const Change&) const = default;
    };
    std::optional<Change> input;
    std::optional<Change> output;
    /// The multi-output device was made. Without it the server has restarted, and chosen the defaults, since.
    bool multiOutput = false;

    bool isEmpty() const { return !input && !output && !multiOutput; }
    bool operator==(const RouterRecord&) const = default;
};

/// The router's changes in a small file: noted before they are made and cleared once they are given back, so that the
/// next start after a crash can give back what the crash left.
///
/// The file is JSON: {"process": {"pid", "started", "boot"}, "input": {"was", "set"}, "output": {"was", "set"},
/// "multiOutput"}. It is written whole or not at all and reaches the disk before a note returns; only its owner can
/// read it. When it cannot be written, a console line says so, and the session goes on. While another living process
/// has its changes in the file, nothing is noted and nothing is recovered. One thread.
class RouterJournal {
public:
    explicit RouterJournal(QString filePath = defaultPath(), ProcessIdentity self = ProcessIdentity::current());

    /// parlowen/audio-devices.json in the user's state directory (XDG).
    static QString defaultPath();

    /// The default input (or output) is about to become `set`. What it was counts from the first note only.
    void willSetInput(const std::optional<QString>& was, const QString& set);
    void willSetOutput(const std::optional<QString>& was, const QString& set);
    void willMakeMultiOutput();

    /// What is as the user had it again.
    struct Returned {
        bool input = true, output = true;
        bool multiOutput = true; ///< the multi-output device is gone
    };
    void gaveBack(const Returned& returned);

    enum class Recovery {
        NothingLeft,      ///< nothing was found that a crash left
        GaveBack,         ///< all that could be given back was
        OtherSessionRuns, ///< another living process uses the devices: nothing was changed
        NoServer,         ///< no audio server answers: the record is kept for a later start
    };

    /// Gives back what a process that is gone had changed: a default where it is still what that process set or what
    /// the server chose when it restarted, then the multi-output device. Says what it did in the console log.
    Recovery recover(const std::shared_ptr<AudioServer>& server);

private:
    struct Content {
        enum class Kind { Missing, Garbage, Mine, OtherAlive, OtherDead } kind = Kind::Missing;
        RouterRecord record;
        bool machineRestarted = false; ///< since it was written
    };

    Content load() const;
    bool takeOver();
    void note(std::optional<RouterRecord::Change> RouterRecord::*side, const std::optional<QString>& was,
              const QString& set);
    void store();
    void setAside() const;

    const QString filePath_;
    const ProcessIdentity self_;
    RouterRecord record_;
    std::optional<RouterRecord> stored_; ///< what the file holds of ours; none when it may be anything
    bool toldOfOther_ = false;
};

} // namespace parlowen
