#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::service {

/// Makes a directory for this user alone (mode 0700), and those above it. One that exists keeps its mode.
/// Throws std::system_error.
void makePrivateDirectory(const std::filesystem::path& directory);

/// Throws std::runtime_error, with what to do, for a directory of another user, or one that others may look into.
void requirePrivateDirectory(const std::filesystem::path& directory);

/// Replaces a file as a whole: readers see the old contents or the new ones, also after a crash. Mode 0600.
/// Throws std::system_error that names the file.
void writePrivateFile(const std::filesystem::path& file, std::string_view contents);

/// The contents of a file, none when there is no such file. Takes rights of other users on it away.
/// Throws std::system_error that names the file when it cannot be read or is larger than `maxBytes`.
std::optional<std::string> readPrivateFile(const std::filesystem::path& file,
                                           std::size_t maxBytes = std::size_t{64} * 1024);

/// Holds other processes off a directory for as long as it lives.
class DirectoryLock {
public:
    /// Waits for whoever holds it.
    explicit DirectoryLock(const std::filesystem::path& directory);
    /// Null when another process holds it.
    static std::unique_ptr<DirectoryLock> take(const std::filesystem::path& directory);
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

private:
    DirectoryLock(const std::filesystem::path& directory, int how);

    bool held_ = false;
    int descriptor_;
};

} // namespace parlowen::service
