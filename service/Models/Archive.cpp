#include "Archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <fstream>
#include <memory>
#include <string>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t blockBytes = 65'536;

struct FreeArchive {
    void operator()(archive* handle) const { archive_read_free(handle); }
};

[[noreturn]] void fail(const fs::path& path, archive* handle) {
    const char* why = archive_error_string(handle);
    throw Unusable("cannot unpack " + path.string() + (why ? std::string(": ") + why : std::string()));
}

/// The file's name when it lies directly in the archive's folder; else empty.
std::string nameOf(archive_entry* entry) {
    const char* path = archive_entry_pathname(entry);
    if (!path || archive_entry_filetype(entry) != AE_IFREG)
        return {};
    auto normal = fs::path(path).lexically_normal();
    const auto parts = std::distance(normal.begin(), normal.end());
    const auto name = normal.filename().string();
    return parts == 2 && *normal.begin() != ".." && !name.starts_with('.') ? name : std::string();
}

void writeFile(const fs::path& path, archive* handle, const fs::path& target) {
    std::ofstream file(target, std::ios::binary);
    const void* bytes = nullptr;
    std::size_t count = 0;
    la_int64_t offset = 0;
    int result = ARCHIVE_OK;
    while ((result = archive_read_data_block(handle, &bytes, &count, &offset)) == ARCHIVE_OK) {
        file.seekp(offset);
        file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    }
    file.close();
    if (result != ARCHIVE_EOF)
        fail(path, handle);
    if (!file)
        throw std::runtime_error("cannot write " + target.string());
}

} // namespace

void unpack(const fs::path& path, const fs::path& folder) {
    const std::unique_ptr<archive, FreeArchive> handle(archive_read_new());
    archive_read_support_format_tar(handle.get());
    archive_read_support_filter_all(handle.get());
    if (archive_read_open_filename(handle.get(), path.c_str(), blockBytes) != ARCHIVE_OK)
        fail(path, handle.get());
    archive_entry* entry = nullptr;
    int result = ARCHIVE_OK;
    while ((result = archive_read_next_header(handle.get(), &entry)) == ARCHIVE_OK)
        if (const auto name = nameOf(entry); !name.empty())
            writeFile(path, handle.get(), folder / name);
    if (result != ARCHIVE_EOF)
        fail(path, handle.get());
}

} // namespace parlowen::service
