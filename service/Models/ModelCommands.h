#pragma once

#include "ModelCatalogue.h"

#include <filesystem>
#include <iosfwd>
#include <string>

namespace parlowen::service {

/// `--models`: what lies on this machine, what each model offers and serves, and what can be fetched. Tries new ones.
void listModels(const std::filesystem::path& data, const ModelCatalogue& catalogue, std::ostream& out);

/// `--get-model`: fetches a model of the catalogue, from `mirror` instead of its base address unless that is empty, and
/// tries it. Throws std::runtime_error with plain words.
void getModel(const std::filesystem::path& data, const ModelCatalogue& catalogue, const std::string& name,
              const std::string& mirror, std::ostream& out);

} // namespace parlowen::service
