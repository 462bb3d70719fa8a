#include "PrivateFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(int error, const char* what, const fs::path& path) {
    throw std::system_error(error, std::generic_category(), std::string(what) + " " + path.string());
}

class Descriptor {
public:
    Descriptor(const fs::path& path, int flags, mode_t mode = 0)
        : number(::open(path.c_str(), flags | O_CLOEXEC, mode)) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    bool close() {
        const bool closed = number < 0 || ::close(number) == 0;
        number = -1;
        return closed;
    }

    int number;
};

void writeAll(int descriptor, std::string_view contents, const fs::path& path) {
    while (!contents.empty()) {
        const ssize_t written = ::write(descriptor, contents.data(), contents.size());
        if (written < 0 && errno != EINTR)
            fail(errno, "cannot write", path);
        contents.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

void writeTemporary(const fs::path& temporary, std::string_view contents) {
    ::unlink(temporary.c_str());
    Descriptor file(temporary, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (file.number < 0)
        fail(errno, "cannot create", temporary);
    writeAll(file.number, contents, temporary);
    if (::fsync(file.number) != 0 || !file.close())
        fail(errno, "cannot write", temporary);
}

/// For root, who most often means to do something for that user.
std::string hintAt(uid_t owner) {
    const passwd* known = ::geteuid() == 0 ? ::getpwuid(owner) : nullptr;
    return known == nullptr ? "" : std::string("; run this as that user, by sudo -H -u ") + known->pw_name;
}

} // namespace

void makePrivateDirectory(const fs::path& directory) {
    if (!fs::exists(directory.parent_path()))
        makePrivateDirectory(directory.parent_path());
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        fail(errno, "cannot create", directory);
    if (!fs::is_directory(directory))
        fail(ENOTDIR, "cannot use", directory);
}

void requirePrivateDirectory(const fs::path& directory) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0)
        fail(errno, "cannot use", directory);
    if (status.st_uid != ::geteuid())
        throw std::runtime_error(directory.string() + " belongs to another user" + hintAt(status.st_uid));
    if ((status.st_mode & 077) != 0)
        throw std::runtime_error(directory.string() + " is open to other users; run: chmod 700 " + directory.string());
}

void writePrivateFile(const fs::path& file, std::string_view contents) {
    const fs::path temporary = file.string() + ".new";
    try {
        writeTemporary(temporary, contents);
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    if (::rename(temporary.c_str(), file.c_str()) != 0)
        fail(errno, "cannot replace", file);
    const Descriptor directory(file.parent_path(), O_RDONLY | O_DIRECTORY);
    if (directory.number < 0 || ::fsync(directory.number) != 0)
        fail(errno, "cannot write", file.parent_path());
}

std::optional<std::string> readPrivateFile(const fs::path& file, std::size_t maxBytes) {
    const Descriptor opened(file, O_RDONLY | O_NONBLOCK);
    if (opened.number < 0 && errno == ENOENT)
        return std::nullopt;
    struct stat status {};
    if (opened.number < 0 || ::fstat(opened.number, &status) != 0)
        fail(errno, "cannot read", file);
    if (!S_ISREG(status.st_mode) || static_cast<std::size_t>(status.st_size) > maxBytes)
        fail(EINVAL, "cannot use", file);
    ::fchmod(opened.number, 0600);
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t count = ::read(opened.number, contents.data(), contents.size());
    if (count < 0)
        fail(errno, "cannot read", file);
    contents.resize(static_cast<std::size_t>(count));
    return contents;
}

DirectoryLock::DirectoryLock(const fs::path& directory)
    : DirectoryLock(directory, LOCK_EX) {}

DirectoryLock::DirectoryLock(const fs::path& directory, int how)
    : descriptor_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (descriptor_ < 0)
        fail(errno, "cannot open", directory);
    while (!(held_ = ::flock(descriptor_, how) == 0)) {
        if (errno == EWOULDBLOCK)
            return;
        if (errno != EINTR)
            fail(errno, "cannot lock", directory);
    }
}

std::unique_ptr<DirectoryLock> DirectoryLock::take(const fs::path& directory) {
    std::unique_ptr<DirectoryLock> lock(new DirectoryLock(directory, LOCK_EX | LOCK_NB));
    return lock->held_ ? std::move(lock) : nullptr;
}

DirectoryLock::~DirectoryLock() { ::close(descriptor_); }

} // namespace parlowen::service
