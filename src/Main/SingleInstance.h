#pragma once

#include <Tools/SessionPresence.h>

#include <QLocalServer>
#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>

class QLocalSocket;
class QLockFile;

namespace parlowen {

/// Has the program's windows run once for each user: whoever comes first serves a socket in the user's runtime
/// directory, and a later start hands its command line over to it. A lock, which goes with its process, tells who is
/// first; a socket that somebody left behind counts for nothing. Main thread only.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Role {
        First,      ///< nobody else was there; also where the directory cannot be used
        HandedOver, ///< the first one has taken the command line
        Unanswered, ///< there is a first one, which does not answer
    };

    explicit SingleInstance(QString directory = SessionPresence::runtimeDirectory());
    ~SingleInstance() override;

    /// Finds out which one this is; waits at most so many milliseconds for another to answer, or to end.
    Role begin(const QStringList& arguments, int patience = usualPatience);

    /// Called in the first one for each later start, with its arguments; says whether they are taken. What is not
    /// taken, as by a program that is about to end, is tried again by the other side. Without it nothing is taken.
    std::function<bool(const QStringList& arguments)> onLaunch;

    static constexpr int usualPatience = 10'000;

private:
    bool becomeFirst();
    bool handOver(const QStringList& arguments) const;
    void receive(QLocalSocket* launch);

    const QString socket_; ///< its path
    std::unique_ptr<QLockFile> lock_;
    QLocalServer server_;
};

} // namespace parlowen
