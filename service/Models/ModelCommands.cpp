#include "ModelCommands.h"

#include "ModelInstaller.h"
#include "Speech/ModelRegistry.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>

namespace parlowen::service {

namespace {

std::string joinedList(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words)
        text.append(text.empty() ? "" : ", ").append(word);
    return text.empty() ? "none" : text;
}

std::string sizeText(std::uintmax_t bytes) { return bytes == 0 ? "size unknown" : megabytes(bytes); }

void describe(const ModelRegistry::Entry& entry, const ModelCatalogue& catalogue, std::ostream& out) {
    const auto& model = entry.model;
    const auto* known = catalogue.find(model.name);
    const auto licence = !model.licence.empty() ? model.licence : entry.isInstalled ? "MIT" : "unknown";
    out << model.name << "\n    " << nameOf(model.family) << (isStreaming(model.family) ? ", streaming" : "") << ", "
        << sizeText(model.bytes) << ", licence: " << licence;
    if (!entry.isInstalled && (!known || known->untested))
        out << ", untested";
    out << "\n    languages: " << joinedList(model.languages);
    if (!model.remark.empty())
        out << "\n    " << model.remark;
    if (!entry.problem.empty())
        out << "\n    not used: " << entry.problem << "\n";
    else
        out << "\n    serves: " << joinedList(entry.locales) << "\n";
}

std::string licenceOf(const CatalogueEntry& entry) { return entry.licence.empty() ? "unknown" : entry.licence; }

void describe(const CatalogueEntry& entry, std::ostream& out) {
    out << entry.name << "\n    " << entry.family << (entry.streaming ? ", streaming" : "") << ", "
        << sizeText(entry.bytes()) << " to fetch, licence: " << licenceOf(entry) << (entry.untested ? ", untested" : "")
        << "\n    languages: " << joinedList(entry.languages) << "\n";
}

void refuseWhatIsThere(const ModelRegistry::Places& places, const std::string& name) {
    for (const bool isInstalled : {true, false})
        for (const auto& model : recogniser::modelsIn(isInstalled ? places.installed : places.own))
            if (model.name == name)
                throw std::runtime_error(
                    isInstalled ? name + " came with the program and is there already: " + model.folder.string()
                                : model.folder.string() + " is there already");
}

} // namespace

void listModels(const std::filesystem::path& data, const ModelCatalogue& catalogue, std::ostream& out) {
    ModelRegistry registry(ModelRegistry::Places::ofThisProgram(data));
    if (registry.places().program.empty())
        out << "There is no recogniser on this machine.\n";
    const auto entries = registry.triedEntries();
    for (const auto& entry : entries)
        describe(entry, catalogue, out);
    out << "\nFolders of models of your own: " << registry.places().own.string() << "\nWhat --get-model can fetch:\n\n";
    for (const auto& entry : catalogue.models)
        if (std::none_of(entries.begin(), entries.end(),
                         [&](const auto& there) { return there.model.name == entry.name; }))
            describe(entry, out);
}

void getModel(const std::filesystem::path& data, const ModelCatalogue& catalogue, const std::string& name,
              const std::string& mirror, std::ostream& out) {
    const auto places = ModelRegistry::Places::ofThisProgram(data);
    refuseWhatIsThere(places, name);
    const auto* entry = catalogue.find(name);
    if (!entry)
        throw std::runtime_error("the catalogue has no model \"" + name + "\"; --models lists what there is");
    auto base = mirror.empty() ? catalogue.base : mirror;
    if (!base.ends_with('/'))
        base += '/';
    out << "licence: " << licenceOf(*entry) << std::endl;
    ModelInstaller{places.own, base, [&out](const std::string& text) { out << text << std::endl; }}.install(*entry);
    ModelRegistry registry(places);
    for (const auto& there : registry.triedEntries())
        if (there.model.name == name)
            describe(there, catalogue, out);
}

} // namespace parlowen::service
