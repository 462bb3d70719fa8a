#pragma once

#include "Download.h"
#include "ModelCatalogue.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace parlowen::service {

/// So many bytes for people, such as "27 MB".
std::string megabytes(std::uintmax_t bytes);

/// Fetches a model into a folder of models: free space first, then the files, their sums and what they unpack to, at
/// last the folder appears as a whole. What was fetched before an interruption is gone on with; what is no model goes.
/// Throws std::runtime_error with plain words.
struct ModelInstaller {
    std::filesystem::path folder; ///< of folders; made when it is missing
    std::string base;             ///< address that the files lie below, with its `/`
    std::function<void(const std::string&)> say;

    void install(const CatalogueEntry& entry) const;

private:
    Download downloadOf(const CatalogueEntry::File& file, const std::filesystem::path& work) const;
    void assemble(const CatalogueEntry& entry, const std::filesystem::path& work,
                  const std::filesystem::path& unpacked) const;
};

} // namespace parlowen::service
