#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace parlowen::service {

/// A speech model that can be fetched.
struct CatalogueEntry {
    struct File {
        std::string path;         ///< below the catalogue's base address; `.tar.bz2` is unpacked
        std::uintmax_t bytes = 0; ///< 0: not known
        std::string sha256;       ///< hexadecimal; empty: not known
    };
    std::string name; ///< of the folder that it becomes
    std::string family;
    std::vector<std::string> languages; ///< codes without a region
    bool streaming = false;
    bool untested = false; ///< nobody tried it with this version
    std::string licence;
    std::uintmax_t unpackedBytes = 0;
    std::vector<File> files;

    std::uintmax_t bytes() const;
};

/// A JSON file of models: `base` is the address that the paths of `files` are below.
struct ModelCatalogue {
    std::string base;
    std::vector<CatalogueEntry> models;

    /// The one that is part of the program.
    static ModelCatalogue builtIn();
    /// Throws std::runtime_error with plain words when it is no catalogue.
    static ModelCatalogue parse(const std::string& json);
    const CatalogueEntry* find(const std::string& name) const;
};

} // namespace parlowen::service
