#include "SettingsFile.h"

#include "ConsoleLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStringDecoder>
#include <algorithm>
#include <atomic>
#include <cstdio>

namespace parlowen {

namespace {

/// Whether it is a line of a settings file. QSettings itself passes over everything that it cannot make out.
bool isSettingsLine(QByteArray line) {
    line = line.trimmed();
    if (line.isEmpty() || line.startsWith(';') || line.startsWith('#'))
        return true;
    if (line.startsWith('['))
        return line.endsWith(']');
    bool quoted = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const auto byte = static_cast<unsigned char>(line[i]);
        if (byte < 0x20 && byte != '\t')
            return false;
        if (byte == '\\')
            ++i;
        else if (byte == '"')
            quoted = !quoted;
    }
    return line.contains('=') && !quoted;
}

bool isSettingsFile(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    [[maybe_unused]] const QString text = decoder(bytes);
    const QList<QByteArray> lines = bytes.split('\n');
    return !decoder.hasError() && std::all_of(lines.begin(), lines.end(), isSettingsLine);
}

/// Keeps an unusable file under another name, out of the way of the new one.
void setAside(const QString& filePath, const QString& problem) {
    const QString stamp = QDateTime::currentDateTime().toString("yyyyMMdd-HHmmss");
    QString kept = filePath + ".unreadable-" + stamp;
    for (int i = 2; QFileInfo::exists(kept); ++i)
        kept = filePath + ".unreadable-" + stamp + "-" + QString::number(i);
    if (std::rename(QFile::encodeName(filePath).constData(), QFile::encodeName(kept).constData()) == 0)
        consoleLog(
            QString("⚠️ The settings file %1 was not read: %2. It is kept as %3; starting with empty settings.")
                .arg(filePath, problem, kept));
    else
        consoleLog(QString("⚠️ The settings file %1 was not read: %2. It could not be moved out of the way either.")
                       .arg(filePath, problem));
}

void makeDirectory(const QFileInfo& directory) {
    if (!directory.exists()) {
        QDir().mkpath(directory.path());
        ::mkdir(QFile::encodeName(directory.filePath()).constData(), 0700);
    }
}

/// Closed to everybody but the owner from the first moment.
void makeFile(const QString& filePath) {
    const int file = ::open(QFile::encodeName(filePath).constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    if (file >= 0)
        ::close(file);
}

/// Whether all of that many values are in the file: each takes one line that ends with a line feed.
bool isComplete(const QString& filePath, qsizetype values) {
    QFile file(filePath);
    if (!file.open(QFile::ReadOnly))
        return false;
    qsizetype found = 0;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (qsizetype i = 0; i + 1 < lines.size(); ++i)
        found += !lines[i].isEmpty() && !lines[i].startsWith('[') ? 1 : 0;
    return found == values;
}

/// QSettings takes a file of the same size and time for the one that it has read.
void makeNewer(const QString& filePath, const QString& thanPath) {
    const QDateTime old = QFileInfo(thanPath).lastModified();
    QFile file(filePath);
    if (old.isValid() && QFileInfo(filePath).lastModified() <= old && file.open(QFile::ReadWrite))
        file.setFileTime(old.addMSecs(1), QFile::FileModificationTime);
}

bool replaceFile(const QString& filePath, const QString& by) {
    makeNewer(by, filePath);
    return std::rename(QFile::encodeName(by).constData(), QFile::encodeName(filePath).constData()) == 0;
}

/// Writes the file's values with the changes to another file; false when that could not be done whole.
bool stage(const QString& filePath, const QHash<QString, QVariant>& changes, const QString& staged) {
    const QSettings current(filePath, QSettings::IniFormat);
    if (current.status() != QSettings::NoError)
        return false;
    QSettings next(staged, QSettings::IniFormat);
    for (const QString& key : current.allKeys())
        next.setValue(key, current.value(key));
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        if (change->isValid())
            next.setValue(change.key(), *change);
        else
            next.remove(change.key());
    }
    next.sync();
    return next.status() == QSettings::NoError && isComplete(staged, next.allKeys().size());
}

/// A name beside the file that this process has not used before: QSettings remembers files by name.
QString stagingPath(const QString& filePath) {
    static std::atomic<int> count = 0;
    return filePath + QString(".new-%1-%2").arg(::getpid()).arg(++count);
}

} // namespace

std::optional<QString> SettingsFile::problemWith(const QString& filePath) {
    if (!QFileInfo::exists(filePath))
        return std::nullopt;
    QFile file(filePath);
    if (!QFileInfo(filePath).isFile() || !file.open(QFile::ReadOnly))
        return QStringLiteral("it cannot be opened");
    return isSettingsFile(file.readAll()) ? std::nullopt : std::optional(QStringLiteral("it is damaged"));
}

void SettingsFile::makeUsable(const QString& filePath) {
    if (const std::optional<QString> problem = problemWith(filePath))
        setAside(filePath, *problem);
    if (QFileInfo::exists(filePath))
        QFile::setPermissions(filePath, QFile::ReadOwner | QFile::WriteOwner);
}

// QSettings does not notice when the last bytes find no room on the disk, so it never writes the file itself: it writes
// a new one, which takes the old one's place once it is known to be whole.
bool SettingsFile::rewrite(const QString& filePath, const QHash<QString, QVariant>& changes) {
    makeDirectory(QFileInfo(QFileInfo(filePath).path()));
    const QString staged = stagingPath(filePath);
    makeFile(staged);
    if (stage(filePath, changes, staged) && replaceFile(filePath, staged))
        return true;
    QFile::remove(staged);
    return false;
}

} // namespace parlowen
