#include "UserDefaults.h"

#include "ConsoleLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QStringDecoder>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <utility>

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

/// Why the file cannot be used as settings, or none.
std::optional<QString> problemWith(const QString& filePath) {
    if (!QFileInfo::exists(filePath))
        return std::nullopt;
    QFile file(filePath);
    if (!QFileInfo(filePath).isFile() || !file.open(QFile::ReadOnly))
        return QStringLiteral("it cannot be opened");
    return isSettingsFile(file.readAll()) ? std::nullopt : std::optional(QStringLiteral("it is damaged"));
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
    return QString("%1.new-%2-%3").arg(filePath).arg(::getpid()).arg(++count);
}

} // namespace

UserDefaults::UserDefaults(QString filePath)
    : filePath_(std::move(filePath)) {
    if (const std::optional<QString> problem = problemWith(filePath_))
        setAside(filePath_, *problem);
    if (QFileInfo::exists(filePath_))
        QFile::setPermissions(filePath_, QFile::ReadOwner | QFile::WriteOwner);
}

QString UserDefaults::defaultPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/parlowen/parlowen.ini";
}

QVariant UserDefaults::read(const QString& key) const {
    const std::lock_guard lock(mutex_);
    const auto unsaved = unsaved_.constFind(key);
    // A new object looks at the file again.
    return unsaved != unsaved_.constEnd() ? *unsaved : QSettings(filePath_, QSettings::IniFormat).value(key);
}

void UserDefaults::write(const QString& key, const QVariant& value) {
    const std::lock_guard lock(mutex_);
    unsaved_[key] = value;
    save();
}

bool UserDefaults::synchronize() {
    const std::lock_guard lock(mutex_);
    return unsaved_.isEmpty() || save();
}

// QSettings does not notice when the last bytes find no room on the disk, so it never writes the file itself: it writes
// a new one, which takes the old one's place once it is known to be whole.
bool UserDefaults::save() {
    makeDirectory(QFileInfo(QFileInfo(filePath_).path()));
    const QString staged = stagingPath(filePath_);
    makeFile(staged);
    if (stage(filePath_, unsaved_, staged) && replaceFile(filePath_, staged)) {
        unsaved_.clear();
        return true;
    }
    QFile::remove(staged);
    consoleLog(QString("❌ Saving the settings to %1 failed: the disk is full or the directory cannot be written. "
                       "The file stays as it was; changes last until the program ends.")
                   .arg(filePath_));
    return false;
}

std::optional<QString> UserDefaults::string(const QString& key) const {
    const QVariant value = read(key);
    return value.typeId() == QMetaType::QString ? std::optional(value.toString()) : std::nullopt;
}

std::optional<bool> UserDefaults::boolean(const QString& key) const {
    const QString text = string(key).value_or(QString());
    if (text == "true" || text == "1")
        return true;
    return text == "false" || text == "0" ? std::optional(false) : std::nullopt;
}

std::optional<qint64> UserDefaults::integer(const QString& key) const {
    bool ok = false;
    const qint64 number = string(key).value_or(QString()).toLongLong(&ok);
    return ok ? std::optional(number) : std::nullopt;
}

std::optional<QByteArray> UserDefaults::data(const QString& key) const {
    const QVariant value = read(key);
    return value.typeId() == QMetaType::QByteArray ? std::optional(value.toByteArray()) : std::nullopt;
}

// Scalars are stored as text, as the file gives them back.
void UserDefaults::setString(const QString& key, const QString& value) {
    write(key, value.isNull() ? QStringLiteral("") : value);
}

void UserDefaults::setBoolean(const QString& key, bool value) {
    write(key, value ? QStringLiteral("true") : QStringLiteral("false"));
}

void UserDefaults::setInteger(const QString& key, qint64 value) { write(key, QString::number(value)); }

void UserDefaults::setData(const QString& key, const QByteArray& value) { write(key, value); }

void UserDefaults::remove(const QString& key) { write(key, QVariant()); }

} // namespace parlowen
