#pragma once

#include <Foundation/Phrase.h>
#include <Tools/SessionPresence.h>

#include <QLocalServer>
#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>

class QLocalSocket;
class QLockFile;

namespace parlowen {

/// What a later start hands over to the program that runs already.
struct Launch {
    QStringList arguments;                 ///< the program's own name first
    QString backend;                       ///< the address of the backend that was given to it; empty when none was
    Language language = Language::English; ///< in which its terminal is spoken to
};

/// What it is answered.
struct LaunchAnswer {
    bool isTaken = false;
    QString problem; ///< what is not done, and why, in the launch's language; empty when all is
};

/// Has the program's windows run once for each user: whoever comes first serves a socket in the user's runtime
/// directory, and a later start hands its command line over to it. A lock, which goes with its process, tells who is
/// first; a socket that somebody left behind counts for nothing. Main thread only.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Role {
        First,      ///< nobody else was there; also where the directory cannot be used
        HandedOver, ///< the first one has taken the launch
        Unanswered, ///< there is a first one, which does not answer
    };

    explicit SingleInstance(QString directory = SessionPresence::runtimeDirectory());
    ~SingleInstance() override;

    /// Finds out which one this is; waits at most so many milliseconds for another to answer, or to end.
    Role begin(const Launch& launch, int patience = usualPatience);
    /// What the first one did not do of the launch that was handed over; empty when it did all.
    const QString& problem() const { return problem_; }

    /// Called in the first one for each later start. What is not taken, as by a program that is about to end, is tried
    /// again by the other side. Without it nothing is taken.
    std::function<LaunchAnswer(const Launch& launch)> onLaunch;

    static constexpr int usualPatience = 10'000;

private:
    bool becomeFirst();
    bool handOver(const Launch& launch);
    void receive(QLocalSocket* socket);

    const QString socket_; ///< its path
    std::unique_ptr<QLockFile> lock_;
    QLocalServer server_;
    QString problem_;
};

} // namespace parlowen
