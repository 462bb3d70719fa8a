#include "ProcessIdentity.h"

#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QList>
#include <algorithm>

namespace parlowen {

namespace {

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

QString bootId() {
    return QString::fromLatin1(contentsOf(QStringLiteral("/proc/sys/kernel/random/boot_id"))).trimmed();
}

/// When a living process started; empty for one that is gone or has ended.
QString startOf(qint64 pid) {
    const QByteArray stat = contentsOf(QStringLiteral("/proc/%1/stat").arg(pid));
    // The program's name in parentheses may hold blanks and parentheses of its own. The state is the field after it.
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    constexpr int state = 0;
    constexpr int startTime = 19;
    if (fields.size() <= startTime || fields[state] == "Z" || fields[state] == "X")
        return {};
    return QString::fromLatin1(fields[startTime]);
}

} // namespace

ProcessIdentity ProcessIdentity::current() { return of(getpid()); }

ProcessIdentity ProcessIdentity::of(qint64 pid) { return {pid, startOf(pid), bootId()}; }

bool ProcessIdentity::runsTwice() {
    const auto programOf = [](const QString& pid) {
        // Empty for another user's process. An upgrade deletes the file of a program that still runs.
        return QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid)).remove(QStringLiteral(" (deleted)"));
    };
    const QString self = QString::number(getpid());
    const QString program = programOf(self);
    const QStringList processes = QDir(QStringLiteral("/proc")).entryList({QStringLiteral("[0-9]*")}, QDir::Dirs);
    return std::any_of(processes.begin(), processes.end(), [&](const QString& pid) {
        return pid != self && !program.isEmpty() && programOf(pid) == program;
    });
}

std::optional<ProcessIdentity> ProcessIdentity::fromJson(const QJsonObject& object) {
    const QJsonValue pid = object[QLatin1String("pid")];
    const QJsonValue started = object[QLatin1String("started")];
    const QJsonValue boot = object[QLatin1String("boot")];
    if (!pid.isDouble() || !started.isString() || !boot.isString())
        return std::nullopt;
    return ProcessIdentity{pid.toInteger(), started.toString(), boot.toString()};
}

QJsonObject ProcessIdentity::toJson() const {
    return {{QStringLiteral("pid"), pid}, {QStringLiteral("started"), started}, {QStringLiteral("boot"), boot}};
}

bool ProcessIdentity::isAlive() const {
    return pid > 0 && !started.isEmpty() && boot == bootId() && startOf(pid) == started;
}

} // namespace parlowen
