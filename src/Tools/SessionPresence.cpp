#include "SessionPresence.h"

#include <QDir>
#include <QLockFile>
#include <QStandardPaths>

namespace parlowen {

namespace {

constexpr int places = 8; // more sessions than anybody has; one beyond them is not seen by others

} // namespace

SessionPresence::SessionPresence(const QString& directory) {
    if (directory.isEmpty() || !QDir().mkpath(directory))
        return;
    for (int i = 1; i <= places; ++i) {
        auto lock = std::make_unique<QLockFile>(QStringLiteral("%1/session-%2.lock").arg(directory).arg(i));
        lock->setStaleLockTime(0); // a session may be older than any time; a dead one is known by its process
        if (!lock->tryLock(0))
            isSecond_ |= lock->error() == QLockFile::LockFailedError;
        else if (!own_)
            own_ = std::move(lock);
    }
}

SessionPresence::~SessionPresence() = default;

QString SessionPresence::runtimeDirectory() {
    const QString base = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return base.isEmpty() ? QString() : base + QStringLiteral("/parlowen");
}

} // namespace parlowen
