#pragma once

#include <filesystem>
#include <stdexcept>

namespace parlowen::service {

/// What was fetched is of no use, and stays so.
struct Unusable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Unpacks the files of a compressed tar archive, but those in folders of its one folder: `name/file` becomes
/// `folder/file`. Nothing is written elsewhere. Throws Unusable, or another std::runtime_error, with plain words.
void unpack(const std::filesystem::path& archive, const std::filesystem::path& folder);

} // namespace parlowen::service
