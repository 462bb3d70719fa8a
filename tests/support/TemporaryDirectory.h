#pragma once

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>

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

/// A shell's exit status, -1 where a signal ended it, and what it said on both outputs.
struct ShellRun {
    explicit ShellRun(const std::string& command) {
        FILE* pipe = ::popen(("exec 2>&1; " + command).c_str(), "r");
        std::array<char, 4096> bytes{};
        while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), pipe))
            output.append(bytes.data(), count);
        const int ended = ::pclose(pipe);
        status = WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
    }
    int status = -1;
    std::string output;
};

/// Whether it comes true, for what another thread does.
inline bool eventually(const std::function<bool()>& condition, std::chrono::seconds bound = std::chrono::seconds(10)) {
    for (auto look = bound / std::chrono::milliseconds(5); look > 0; --look) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return condition();
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
