#include "TemporaryFile.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace parlowen::service {

namespace fs = std::filesystem;

TemporaryFile::TemporaryFile(const fs::path& directory) {
    std::string name = (directory / "upload-XXXXXX").string();
    descriptor_ = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0)
        throw std::system_error(errno, std::generic_category(), "cannot create " + name);
    ::flock(descriptor_, LOCK_EX | LOCK_NB);
    path_ = name;
}

TemporaryFile::~TemporaryFile() {
    ::unlink(path_.c_str());
    ::close(descriptor_);
}

void TemporaryFile::append(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "cannot write " + path_.string());
        const auto count = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        bytes.remove_prefix(count);
        size_ += count;
    }
}

void TemporaryFile::removeOrphans(const fs::path& directory) {
    for (const auto& entry : fs::directory_iterator(directory)) {
        const int file = ::open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
        if (file >= 0 && ::flock(file, LOCK_EX | LOCK_NB) == 0)
            ::unlink(entry.path().c_str());
        ::close(file);
    }
}

} // namespace parlowen::service
