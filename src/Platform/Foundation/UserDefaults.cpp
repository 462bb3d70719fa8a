#include "UserDefaults.h"

#include "ConsoleLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringDecoder>
#include <utility>

namespace parlowen {

namespace {

constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner;

/// What QSettings would read without a complaint although no settings file looks like that.
bool isBroken(const QByteArray& bytes) {
    bool quoted = false;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte < 0x20 && byte != '\n' && byte != '\r' && byte != '\t')
            return true;
        if (byte == '\\')
            ++i;
        else if (byte == '"')
            quoted = !quoted;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    [[maybe_unused]] const QString text = decoder(bytes);
    return quoted || decoder.hasError();
}

/// Why the file cannot be used as settings, or none.
std::optional<QString> problemWith(const QString& filePath) {
    if (!QFileInfo::exists(filePath))
        return std::nullopt;
    QFile file(filePath);
    if (!QFileInfo(filePath).isFile() || !file.open(QFile::ReadOnly))
        return QStringLiteral("it cannot be opened");
    if (isBroken(file.readAll()) || QSettings(filePath, QSettings::IniFormat).status() == QSettings::FormatError)
        return QStringLiteral("it is damaged");
    return std::nullopt;
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

/// Makes the directory and the file where they are missing, closed to everybody but the owner from the first moment.
void makeFile(const QString& filePath) {
    const QFileInfo info(filePath);
    if (!info.dir().exists()) {
        QDir().mkpath(QFileInfo(info.path()).path());
        ::mkdir(QFile::encodeName(info.path()).constData(), 0700);
    }
    const int file = ::open(QFile::encodeName(filePath).constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    if (file >= 0)
        ::close(file);
}

} // namespace

UserDefaults::UserDefaults(QString filePath)
    : filePath_(std::move(filePath)) {
    if (const std::optional<QString> problem = problemWith(filePath_))
        setAside(filePath_, *problem);
    if (QFileInfo::exists(filePath_))
        QFile::setPermissions(filePath_, ownerOnly);
    keeper_ = std::make_unique<QSettings>(filePath_, QSettings::IniFormat);
}

UserDefaults::~UserDefaults() = default;

QString UserDefaults::defaultPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/parlowen/parlowen.ini";
}

QVariant UserDefaults::read(const QString& key) const {
    const std::lock_guard lock(mutex_);
    // A new object looks at the file again, and may be made on any thread.
    return QSettings(filePath_, QSettings::IniFormat).value(key);
}

template<class Change>
bool UserDefaults::write(const Change& change) {
    const std::lock_guard lock(mutex_);
    makeFile(filePath_);
    QSettings store(filePath_, QSettings::IniFormat);
    change(store);
    store.sync();
    if (store.status() == QSettings::NoError)
        return true;
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
    write([&](QSettings& store) { store.setValue(key, value); });
}

void UserDefaults::setBoolean(const QString& key, bool value) {
    setString(key, value ? QStringLiteral("true") : QStringLiteral("false"));
}

void UserDefaults::setInteger(const QString& key, qint64 value) { setString(key, QString::number(value)); }

void UserDefaults::setData(const QString& key, const QByteArray& value) {
    write([&](QSettings& store) { store.setValue(key, value); });
}

void UserDefaults::remove(const QString& key) {
    write([&](QSettings& store) { store.remove(key); });
}

bool UserDefaults::synchronize() {
    return write([](QSettings&) {});
}

} // namespace parlowen
