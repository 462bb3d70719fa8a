#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>
#include <mutex>
#include <optional>

namespace parlowen {

/// The user's settings: typed values under string keys, kept in one INI file that only its owner can read (mode 0600).
///
/// Every read goes to the store, so what another object or program wrote to the file is seen. Every write is saved at
/// once, beside what others wrote, to the file that a symbolic link stands for, and whole or not at all; when saving
/// fails, a console line says so, the old file stays as it was, and the value is kept in memory and saved with the next
/// write that succeeds. A file that cannot be understood when it is opened is kept beside the new one under another
/// name, and the store starts empty. Any thread.
class UserDefaults {
public:
    /// Opens the store; makes the file (and its directory, mode 0700) with the first write.
    explicit UserDefaults(QString filePath = defaultPath());
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    /// parlowen/parlowen.ini in the user's configuration directory (XDG).
    static QString defaultPath();
    const QString& filePath() const { return filePath_; }

    /// Each read gives none when the key is missing or holds something else.
    std::optional<QString> string(const QString& key) const;
    std::optional<bool> boolean(const QString& key) const;
    std::optional<qint64> integer(const QString& key) const;
    std::optional<QByteArray> data(const QString& key) const;

    void setString(const QString& key, const QString& value);
    void setBoolean(const QString& key, bool value);
    void setInteger(const QString& key, qint64 value);
    void setData(const QString& key, const QByteArray& value);
    void remove(const QString& key);

    /// Saves whatever an earlier write could not; false (and a console line) when that fails again.
    bool synchronize();

private:
    QVariant read(const QString& key) const;
    void write(const QString& key, const QVariant& value);
    bool save();

    const QString filePath_;
    mutable std::mutex mutex_;
    QHash<QString, QVariant> unsaved_; // an invalid value stands for a removal
};

} // namespace parlowen
