#pragma once

#include "Result.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>

namespace parlowen {

/// Replaces the file, or the one that a symbolic link of this name stands for, by one with these bytes that only its
/// owner can read. Whole or not at all: on failure the old one is as it was.
Result<void> replaceFile(const QString& filePath, const QByteArray& bytes);

/// The settings file as a whole: an INI file that only its owner can read.
namespace SettingsFile {

/// Whether the file can be used as settings; if not, why, in plain words such as "it is damaged". A missing file is
/// fine.
Result<void> check(const QString& filePath);

/// Moves a file that cannot be understood out of the way, with a console line, and closes a usable one to everybody but
/// its owner. A missing file is fine.
void makeUsable(const QString& filePath);

/// Changes these values in the file, whatever else other programs wrote there; an invalid value is removed. One program
/// at a time does so. Fails, with the reason in plain words, when the new file could not be written whole; the old one
/// is then as it was.
Result<void> rewrite(const QString& filePath, const QHash<QString, QVariant>& changes);

} // namespace SettingsFile

} // namespace parlowen
