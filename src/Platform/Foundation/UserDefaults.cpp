#include "UserDefaults.h"

#include "ConsoleLog.h"
#include "Phrase.h"
#include "SettingsFile.h"

#include <QSettings>
#include <QStandardPaths>
#include <utility>

namespace parlowen {

UserDefaults::UserDefaults(QString filePath)
    : filePath_(std::move(filePath)) {
    SettingsFile::makeUsable(filePath_);
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

bool UserDefaults::save() {
    const Result<void> saved = SettingsFile::rewrite(filePath_, unsaved_);
    if (saved) {
        unsaved_.clear();
        return true;
    }
    constexpr Phrase notSaved{
        "❌ Saving the settings to %1 failed: %2. The file stays as it was; changes last until the program ends.",
        "❌ 设置无法保存到 %1：%2。文件保持原样；更改只在程序结束前有效。"};
    consoleLog(notSaved.here(filePath_, saved.error()));
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
