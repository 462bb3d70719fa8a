#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace parlowen::recogniser {

enum class ModelFamily {
    Moonshine,
    Whisper,
    SenseVoice,
    Paraformer,
    Transducer,
    StreamingParaformer,
    StreamingZipformer
};

const char* nameOf(ModelFamily family);
bool isStreaming(ModelFamily family);

/// A model as it lies in a folder of its own, recognised by its files.
struct ModelFolder {
    std::string name; ///< of the folder
    std::filesystem::path folder;
    ModelFamily family = ModelFamily::Moonshine;
    std::map<std::string, std::filesystem::path> files; ///< by their part: encoder, decoder, joiner, model, tokens, ...
    std::vector<std::string> languages; ///< codes without a region, such as "en"; empty when nothing tells
    std::string licence;                ///< empty when nothing tells
    bool preferred = false;             ///< its owner wants it to go before others
    std::uintmax_t bytes = 0;           ///< of the files that are used
    std::string remark;                 ///< what is wrong with its `model.json`, for people; empty: nothing is

    /// The folder's `model.json` ({"languages": [...], "licence": "...", "preferred": true}) goes before what the names
    /// tell. None when the folder holds no model of a known family.
    static std::optional<ModelFolder> at(const std::filesystem::path& folder);
};

/// All models in the folders of a folder, by name; empty when there is no such folder.
std::vector<ModelFolder> modelsIn(const std::filesystem::path& folder);

} // namespace parlowen::recogniser
