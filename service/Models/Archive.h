#pragma once

#include <filesystem>

namespace parlowen::service {

/// Unpacks the files of a compressed tar archive, but those in folders of its one folder: `name/file` becomes
/// `folder/file`. Nothing is written elsewhere. Throws std::runtime_error with plain words.
void unpack(const std::filesystem::path& archive, const std::filesystem::path& folder);

} // namespace parlowen::service
