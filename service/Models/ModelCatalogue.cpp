#include "ModelCatalogue.h"

#include "CatalogueText.h"
#include "Http/HttpMessage.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

namespace parlowen::service {

namespace {

using nlohmann::json;

/// A part of a path that stays below the folder it is put into.
bool isPlainName(const std::string& name) {
    return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos;
}

/// A member of the object that `owner` names; one without `otherwise` has to be there.
template<typename Value>
Value member(const json& object, const std::string& owner, const char* name,
             const std::optional<Value>& otherwise = std::nullopt) {
    const auto found = object.find(name);
    if (found == object.end() && otherwise)
        return *otherwise;
    if (found == object.end())
        throw std::runtime_error(owner + " has no \"" + name + "\"");
    try {
        return found->get<Value>();
    } catch (const json::exception&) {
        throw std::runtime_error(owner + " has a \"" + name + "\" of the wrong kind");
    }
}

CatalogueEntry::File fileOf(const json& value, const std::string& model) {
    const auto owner = "a file of " + model;
    return {member<std::string>(value, owner, "path"), member<std::uintmax_t>(value, owner, "bytes", 0),
            member<std::string>(value, owner, "sha256", "")};
}

CatalogueEntry entryOf(const json& value) {
    CatalogueEntry entry;
    entry.name = member<std::string>(value, "a model of the catalogue", "name");
    if (!isPlainName(entry.name))
        throw std::runtime_error("\"" + entry.name + "\" is no name for a model");
    const auto owner = "the model \"" + entry.name + "\" of the catalogue";
    entry.family = member<std::string>(value, owner, "family", "");
    entry.languages = member<std::vector<std::string>>(value, owner, "languages");
    entry.streaming = member<bool>(value, owner, "streaming", false);
    entry.untested = member<bool>(value, owner, "untested", false);
    entry.licence = member<std::string>(value, owner, "licence", "");
    entry.unpackedBytes = member<std::uintmax_t>(value, owner, "unpackedBytes", 0);
    for (const auto& file : member<std::vector<json>>(value, owner, "files"))
        entry.files.push_back(fileOf(file, owner));
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
    const std::string owner = "the catalogue of models";
    const auto value = jsonObject(text);
    if (!value)
        throw std::runtime_error(owner + " is no JSON object");
    ModelCatalogue catalogue{member<std::string>(*value, owner, "base"), {}};
    for (const auto& model : member<std::vector<json>>(*value, owner, "models"))
        catalogue.models.push_back(entryOf(model));
    return catalogue;
}

const CatalogueEntry* ModelCatalogue::find(const std::string& name) const {
    const auto found =
        std::find_if(models.begin(), models.end(), [&name](const auto& entry) { return entry.name == name; });
    return found == models.end() ? nullptr : &*found;
}

} // namespace parlowen::service
