#include "StateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstring>

namespace parlowen::StateFile {

namespace {

class Descriptor {
public:
    Descriptor(const QByteArray& path, int flags)
        : number_(::open(path.constData(), flags | O_CLOEXEC, 0600)) {}
    ~Descriptor() {
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isOpen() const { return number_ >= 0; }
    bool sync() const { return ::fsync(number_) == 0; }
    bool writeAll(const QByteArray& bytes) const {
        for (qsizetype done = 0; done < bytes.size();) {
            const ssize_t count =
                ::write(number_, bytes.constData() + done, static_cast<std::size_t>(bytes.size() - done));
            if (count < 0 && errno != EINTR)
                return false;
            done += count > 0 ? count : 0;
        }
        return true;
    }

private:
    int number_;
};

bool syncDirectory(const QString& filePath) {
    const Descriptor directory(QFile::encodeName(QFileInfo(filePath).path()), O_RDONLY | O_DIRECTORY);
    return directory.isOpen() && directory.sync();
}

void makeDirectory(const QString& path) {
    if (QFileInfo::exists(path))
        return;
    makeDirectory(QFileInfo(path).path());
    ::mkdir(QFile::encodeName(path).constData(), 0700);
}

bool writeNew(const QByteArray& path, const QByteArray& bytes) {
    ::unlink(path.constData());
    const Descriptor file(path, O_CREAT | O_EXCL | O_WRONLY);
    return file.isOpen() && file.writeAll(bytes) && file.sync();
}

} // namespace

QString path(const QString& name) {
    QString base = qEnvironmentVariable("XDG_STATE_HOME");
    if (!base.startsWith(u'/'))
        base = QDir::homePath() + QStringLiteral("/.local/state");
    return base + QStringLiteral("/parlowen/") + name;
}

bool write(const QString& filePath, const QByteArray& bytes, QString* problem) {
    makeDirectory(QFileInfo(filePath).path());
    const QByteArray target = QFile::encodeName(filePath);
    const QByteArray fresh = target + ".new";
    if (writeNew(fresh, bytes) && std::rename(fresh.constData(), target.constData()) == 0) {
        syncDirectory(filePath);
        return true;
    }
    *problem = QString::fromLocal8Bit(std::strerror(errno));
    ::unlink(fresh.constData());
    return false;
}

bool remove(const QString& filePath) {
    if (::unlink(QFile::encodeName(filePath).constData()) != 0)
        return errno == ENOENT;
    return syncDirectory(filePath);
}

} // namespace parlowen::StateFile
