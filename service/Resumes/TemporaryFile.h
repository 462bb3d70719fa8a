#pragma once

#include <filesystem>
#include <string_view>

namespace parlowen::service {

/// A file of mode 0600 that goes with its owner, and is locked while it has one.
class TemporaryFile {
public:
    /// An empty file with a name of its own. Throws std::system_error.
    explicit TemporaryFile(const std::filesystem::path& directory);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Throws std::system_error, such as for a full disk.
    void append(std::string_view bytes);
    std::size_t size() const { return size_; }
    const std::filesystem::path& path() const { return path_; }

    /// Removes what processes left that ended before their files did; files that have an owner stay.
    static void removeOrphans(const std::filesystem::path& directory);

private:
    std::filesystem::path path_;
    int descriptor_;
    std::size_t size_ = 0;
};

} // namespace parlowen::service
