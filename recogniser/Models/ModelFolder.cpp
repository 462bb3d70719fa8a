#include "ModelFolder.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <nlohmann/json.hpp>

namespace parlowen::recogniser {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::array<const char*, 7> familyNames{
    "Moonshine", "Whisper", "SenseVoice", "Paraformer", "transducer", "streaming Paraformer", "streaming Zipformer"};

constexpr std::array<std::string_view, 30> languageCodes{"ar", "ca", "cs", "da", "de", "el", "en", "es", "fi",  "fr",
                                                         "he", "hi", "hu", "id", "it", "ja", "ko", "ms", "nl",  "no",
                                                         "pl", "pt", "ru", "sv", "th", "tr", "uk", "vi", "yue", "zh"};

using Names = std::vector<std::string>;

Names filesOf(const fs::path& folder) {
    Names names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
        if (entry.is_regular_file(error))
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

/// The file whose name holds `part` and ends as a network does; empty when there is none.
std::string networkNamed(const Names& names, std::string_view part, bool preferSmall = true) {
    std::string found;
    for (const auto& name : names) {
        const bool fits = name.find(part) != std::string::npos && (name.ends_with(".onnx") || name.ends_with(".ort"));
        const bool isSmall = name.find(".int8.") != std::string::npos;
        if (fits && (found.empty() || isSmall == preferSmall))
            found = name;
    }
    return found;
}

std::string tokensOf(const Names& names) {
    const auto found =
        std::find_if(names.begin(), names.end(), [](const auto& name) { return name.ends_with("tokens.txt"); });
    return found == names.end() ? std::string() : *found;
}

bool tokensHold(const fs::path& tokens, std::string_view text) {
    std::ifstream file(tokens);
    std::string line;
    for (int i = 0; i < 40'000 && std::getline(file, line); ++i)
        if (line.starts_with(text))
            return true;
    return false;
}

std::optional<ModelFamily> familyOf(const fs::path& folder, const Names& names, const std::string& tokens) {
    const auto has = [&names](std::string_view part) { return !networkNamed(names, part).empty(); };
    if (has("decoder_model_merged") && has("encoder_model"))
        return ModelFamily::Moonshine;
    if (has("joiner") && has("encoder") && has("decoder"))
        return folder.filename().string().find("streaming") != std::string::npos ? ModelFamily::StreamingZipformer
                                                                                 : ModelFamily::Transducer;
    if (has("-encoder") && has("-decoder"))
        return ModelFamily::Whisper;
    if (has("encoder") && has("decoder"))
        return ModelFamily::StreamingParaformer;
    if (has("model"))
        return tokensHold(folder / tokens, "<|zh|>") ? ModelFamily::SenseVoice : ModelFamily::Paraformer;
    return std::nullopt;
}

/// The parts of a family, each with what its file's name holds.
std::vector<std::pair<std::string, std::string>> partsOf(ModelFamily family) {
    switch (family) {
    case ModelFamily::Moonshine:
        return {{"encoder", "encoder_model"}, {"decoder", "decoder_model_merged"}};
    case ModelFamily::Transducer:
    case ModelFamily::StreamingZipformer:
        return {{"encoder", "encoder"}, {"decoder", "decoder"}, {"joiner", "joiner"}};
    case ModelFamily::Whisper:
    case ModelFamily::StreamingParaformer:
        return {{"encoder", "encoder"}, {"decoder", "decoder"}};
    default:
        return {{"model", "model"}};
    }
}

/// The codes between the dashes of a name, such as "en" and "zh" of "streaming-zipformer-bilingual-zh-en-2023".
std::vector<std::string> languagesInName(std::string_view name) {
    std::vector<std::string> found;
    while (!name.empty()) {
        const auto end = std::min(name.find_first_of("-._"), name.size());
        const auto part = name.substr(0, end);
        if (std::find(languageCodes.begin(), languageCodes.end(), part) != languageCodes.end())
            found.emplace_back(part);
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return found;
}

std::vector<std::string> languagesOf(const ModelFolder& model) {
    auto found = languagesInName(model.name);
    if (!found.empty())
        return found;
    switch (model.family) {
    case ModelFamily::Moonshine:
        return {"en"};
    case ModelFamily::Whisper:
        return model.files.at("encoder").filename().string().find(".en-") != std::string::npos
                   ? std::vector<std::string>{"en"}
                   : std::vector<std::string>(languageCodes.begin(), languageCodes.end());
    case ModelFamily::SenseVoice:
        return {"zh", "en", "ja", "ko", "yue"};
    default:
        return {};
    }
}

bool isListOfCodes(const json& value) {
    return value.is_array() &&
           std::all_of(value.begin(), value.end(), [](const json& code) { return code.is_string(); });
}

/// Takes what has the right name and form; returns the names of the rest.
std::string describe(ModelFolder& model, const json& description) {
    std::string rest;
    for (const auto& [name, value] : description.items())
        if (name == "licence" && value.is_string())
            model.licence = value;
        else if (name == "preferred" && value.is_boolean())
            model.preferred = value;
        else if (name == "languages" && isListOfCodes(value))
            model.languages = value.get<Names>();
        else
            rest += (rest.empty() ? "\"" : ", \"") + name + "\"";
    return rest;
}

void readDescription(ModelFolder& model) {
    const auto path = model.folder / "model.json";
    std::error_code error;
    const auto kind = fs::status(path, error).type();
    if (kind == fs::file_type::not_found)
        return;
    std::ifstream file;
    if (kind == fs::file_type::regular) // a pipe would wait for its writer
        file.open(path);
    if (!file.is_open()) {
        model.remark = "model.json cannot be read and is passed over";
        return;
    }
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    try {
        const auto description = json::parse(text);
        const auto rest = description.is_object() ? describe(model, description) : "all";
        if (!rest.empty())
            model.remark = "of model.json is passed over: " + rest +
                           "; it takes {\"languages\": [\"en\"], \"licence\": \"…\", \"preferred\": false}";
    } catch (const json::parse_error& problem) {
        const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(problem.byte, text.size()));
        model.remark = "model.json is passed over: its line " +
                       std::to_string(1 + std::count(text.begin(), end, '\n')) + " is no JSON";
    }
}

} // namespace

const char* nameOf(ModelFamily family) { return familyNames[static_cast<std::size_t>(family)]; }

bool isStreaming(ModelFamily family) {
    return family == ModelFamily::StreamingParaformer || family == ModelFamily::StreamingZipformer;
}

std::optional<ModelFolder> ModelFolder::at(const fs::path& folder) {
    const auto names = filesOf(folder);
    const auto tokens = tokensOf(names);
    const auto family = familyOf(folder, names, tokens);
    if (!family || tokens.empty())
        return std::nullopt;
    ModelFolder model;
    model.folder = folder;
    model.name = folder.filename().string();
    model.family = *family;
    model.files["tokens"] = folder / tokens;
    for (const auto& [part, inName] : partsOf(*family))
        model.files[part] =
            folder / networkNamed(names, inName, part != "decoder" || *family != ModelFamily::StreamingZipformer);
    std::error_code error;
    for (const auto& [part, file] : model.files)
        model.bytes += fs::file_size(file, error);
    model.languages = languagesOf(model);
    readDescription(model);
    return model;
}

std::vector<ModelFolder> modelsIn(const fs::path& folder) {
    std::vector<ModelFolder> models;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
        if (entry.is_directory(error) && !entry.path().filename().string().starts_with('.'))
            if (auto model = ModelFolder::at(entry.path()))
                models.push_back(std::move(*model));
    std::sort(models.begin(), models.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return models;
}

} // namespace parlowen::recogniser
