#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

namespace parlowen {

/// Which process of which start of the machine: a number alone may belong to another process by now.
struct ProcessIdentity {
    qint64 pid = 0;
    QString started; ///< clock ticks since the machine's start, as /proc/<pid>/stat has it
    QString boot;    ///< the machine's start, as /proc/sys/kernel/random/boot_id has it

    static ProcessIdentity current();
    /// A process that is not there has an empty start.
    static ProcessIdentity of(qint64 pid);
    /// None when a member is missing or of the wrong type.
    static std::optional<ProcessIdentity> fromJson(const QJsonObject& object);
    QJsonObject toJson() const;

    /// Whether that very process runs still; one that has ended but was not waited for does not.
    bool isAlive() const;

    /// Whether another process of this user runs the program that this one runs.
    static bool runsTwice();

    bool operator==(const ProcessIdentity&) const = default;
};

} // namespace parlowen
