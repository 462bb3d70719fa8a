#pragma once

#include <QHash>
#include <QString>
#include <QVariant>
#include <optional>

/// The settings file as a whole: an INI file that only its owner can read.
namespace parlowen::SettingsFile {

/// Why the file cannot be used as settings, in plain words such as "it is damaged"; none when it can. A missing file is
/// fine.
std::optional<QString> problemWith(const QString& filePath);

/// Moves a file that cannot be understood out of the way, with a console line, and closes a usable one to everybody but
/// its owner. A missing file is fine.
void makeUsable(const QString& filePath);

/// Replaces the file by one with these values changed; an invalid value is removed. False when the new file could not
/// be written whole; the old one is then as it was.
bool rewrite(const QString& filePath, const QHash<QString, QVariant>& changes);

} // namespace parlowen::SettingsFile
