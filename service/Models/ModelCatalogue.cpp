#include "ModelCatalogue.h"

#include "CatalogueText.h"
#include "Http/HttpMessage.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace parlowen::service {

namespace {

using nlohmann::json;

/// A part of a path that stays below the folder it is put into.
bool isPlainName(const std::string& name) {
    return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos;
}

CatalogueEntry::File fileOf(const json& value) {
    return {value.at("path"), value.value("bytes", std::uintmax_t{0}), value.value("sha256", "")};
}

CatalogueEntry entryOf(const json& value) {
    CatalogueEntry entry;
    entry.name = value.at("name");
    if (!isPlainName(entry.name))
        throw std::runtime_error("\"" + entry.name + "\" is no name for a model");
    entry.family = value.value("family", "");
    entry.languages = value.at("languages").get<std::vector<std::string>>();
    entry.streaming = value.value("streaming", false);
    entry.untested = value.value("untested", false);
    entry.licence = value.value("licence", "");
    entry.unpackedBytes = value.value("unpackedBytes", std::uintmax_t{0});
    for (const auto& file : value.at("files"))
        entry.files.push_back(fileOf(file));
    return entry;
}

} // namespace

std::uintmax_t CatalogueEntry::bytes() const {
    std::uintmax_t sum = 0;
    for (const auto& file : files)
        sum += file.bytes;
    return sum;
}

ModelCatalogue ModelCatalogue::builtIn() { return parse(catalogueText); }

ModelCatalogue ModelCatalogue::parse(const std::string& text) {
    try {
        const auto value = jsonObject(text);
        if (!value)
            throw std::runtime_error("the catalogue of models is no JSON object");
        ModelCatalogue catalogue{value->at("base"), {}};
        for (const auto& model : value->at("models"))
            catalogue.models.push_back(entryOf(model));
        return catalogue;
    } catch (const json::exception& problem) {
        throw std::runtime_error(std::string("the catalogue of models cannot be read: ") + problem.what());
    }
}

const CatalogueEntry* ModelCatalogue::find(const std::string& name) const {
    const auto found =
        std::find_if(models.begin(), models.end(), [&name](const auto& entry) { return entry.name == name; });
    return found == models.end() ? nullptr : &*found;
}

} // namespace parlowen::service
