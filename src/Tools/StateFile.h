#pragma once

#include <QByteArray>
#include <QString>

/// Small files that must survive a crash of the program or of the machine.
namespace parlowen::StateFile {

/// parlowen/<name> in the user's state directory (XDG_STATE_HOME, else ~/.local/state).
QString path(const QString& name);

/// Replaces the file, whole or not at all, and makes its directories (mode 0700) where they are missing. The new file
/// can be read by its owner alone (mode 0600) and is on the disk on return. False when that fails: `problem` then says
/// why, in English, and the old file is as it was.
bool write(const QString& filePath, const QByteArray& bytes, QString* problem);

/// Removes the file for good. True when there is none then.
bool remove(const QString& filePath);

} // namespace parlowen::StateFile
