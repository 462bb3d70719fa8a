#pragma once

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <sys/resource.h>

namespace parlowen::testing {

/// An empty directory that goes with its owner.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "parlowen-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("cannot make " + name);
        path_ = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

inline std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeFile(const std::filesystem::path& file, const std::string& contents) {
    std::ofstream(file, std::ios::binary) << contents;
}

/// The nine bits of a file's mode, such as 0600.
inline unsigned modeOf(const std::filesystem::path& file) {
    return static_cast<unsigned>(std::filesystem::status(file).permissions()) & 0777U;
}

/// For as long as it lives, no file of this process grows beyond so many bytes: a disk that is full.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before_); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_{};
};

} // namespace parlowen::testing
