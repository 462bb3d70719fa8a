#include "SettingsFile.h"

#include "ConsoleLog.h"
#include "Phrase.h"

#include <sys/stat.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSaveFile>
#include <QSettings>
#include <QStringDecoder>
#include <QTemporaryFile>
#include <algorithm>
#include <cstdio>

namespace parlowen {

namespace {

constexpr Phrase cannotBeOpened{"it cannot be opened", "无法打开"};
constexpr Phrase isDamaged{"it is damaged", "文件已损坏"};
constexpr Phrase isHeld{"another program is writing them and does not come to an end", "另一个程序一直在写入"};
constexpr Phrase cannotBeWritten{"the disk is full or the directory cannot be written", "磁盘已满，或目录不可写"};
constexpr Phrase keptAside{
    "⚠️ The settings file %1 was not read: %2. It is kept as %3; starting with empty settings.",
    "⚠️ 设置文件 %1 未被读取：%2。原文件保留为 %3；从空设置开始。"};
constexpr Phrase notKept{"⚠️ The settings file %1 was not read: %2. It could not be moved out of the way either.",
                         "⚠️ 设置文件 %1 未被读取：%2，也无法移走。"};
constexpr int lockMilliseconds = 5'000; // saving takes a few
constexpr int mostLinks = 40;           // as many as the kernel follows

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
    const bool isMoved = std::rename(QFile::encodeName(filePath).constData(), QFile::encodeName(kept).constData()) == 0;
    consoleLog(isMoved ? keptAside.here(filePath, problem, kept) : notKept.here(filePath, problem));
}

void makeDirectory(const QFileInfo& directory) {
    if (!directory.exists()) {
        QDir().mkpath(directory.path());
        ::mkdir(QFile::encodeName(directory.filePath()).constData(), 0700);
    }
}

/// The file that a symbolic link stands for, also when it is not there yet.
QString behindLinks(QString filePath) {
    for (int i = 0; i < mostLinks && QFileInfo(filePath).isSymLink(); ++i)
        filePath = QFileInfo(filePath).symLinkTarget();
    return filePath;
}

/// Whether all of that many values are there: each takes one line that ends with a line feed.
bool isComplete(const QByteArray& bytes, qsizetype values) {
    qsizetype found = 0;
    const QList<QByteArray> lines = bytes.split('\n');
    for (qsizetype i = 0; i + 1 < lines.size(); ++i)
        found += !lines[i].isEmpty() && !lines[i].startsWith('[') ? 1 : 0;
    return found == values;
}

/// The file's values with the changes, as the bytes of a file; empty when they could not be made whole. QSettings
/// writes only to files, and does not notice when the last bytes find no room on the disk.
QByteArray withChanges(const QString& filePath, const QHash<QString, QVariant>& changes) {
    const QSettings current(filePath, QSettings::IniFormat);
    // QSettings remembers files by name: this one has a name of its own.
    QTemporaryFile staged(filePath + ".new-XXXXXX");
    if (current.status() != QSettings::NoError || !staged.open())
        return {};
    QSettings next(staged.fileName(), QSettings::IniFormat);
    next.setAtomicSyncRequired(false);
    for (const QString& key : current.allKeys())
        next.setValue(key, current.value(key));
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        if (change->isValid())
            next.setValue(change.key(), *change);
        else
            next.remove(change.key());
    }
    next.sync();
    QFile written(staged.fileName());
    if (next.status() != QSettings::NoError || !written.open(QFile::ReadOnly))
        return {};
    QByteArray bytes = written.readAll();
    const qsizetype values = next.allKeys().size();
    if (!isComplete(bytes, values))
        return {};
    return values == 0 ? QByteArray("\n") : bytes;
}

} // namespace

Result<void> replaceFile(const QString& filePath, const QByteArray& bytes) {
    const QString target = behindLinks(filePath);
    const QDateTime old = QFileInfo(target).lastModified();
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) ||
        file.write(bytes) != bytes.size() || !file.flush())
        return failure(file.errorString());
    // Whoever looks at size and time sees that it is another file.
    if (old.isValid())
        file.setFileTime(std::max(QDateTime::currentDateTime(), old.addMSecs(1)), QFile::FileModificationTime);
    return file.commit() ? Result<void>() : failure(file.errorString());
}

Result<void> SettingsFile::check(const QString& filePath) {
    if (!QFileInfo::exists(filePath))
        return {};
    QFile file(filePath);
    if (!QFileInfo(filePath).isFile() || !file.open(QFile::ReadOnly))
        return failure(cannotBeOpened.here());
    return isSettingsFile(file.readAll()) ? Result<void>() : failure(isDamaged.here());
}

void SettingsFile::makeUsable(const QString& filePath) {
    if (const Result<void> usable = check(filePath); !usable)
        setAside(behindLinks(filePath), usable.error());
    if (QFileInfo::exists(filePath))
        QFile::setPermissions(filePath, QFile::ReadOwner | QFile::WriteOwner);
}

Result<void> SettingsFile::rewrite(const QString& filePath, const QHash<QString, QVariant>& changes) {
    const QString target = behindLinks(filePath);
    makeDirectory(QFileInfo(QFileInfo(target).path()));
    QLockFile lock(target + ".lock"); // QSettings takes the same one
    if (!lock.tryLock(lockMilliseconds))
        return failure((lock.error() == QLockFile::LockFailedError ? isHeld : cannotBeWritten).here());
    const QByteArray bytes = withChanges(target, changes);
    if (bytes.isEmpty() || !replaceFile(target, bytes))
        return failure(cannotBeWritten.here());
    return {};
}

} // namespace parlowen
