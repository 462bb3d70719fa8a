#include "ModelInstaller.h"

#include "Archive.h"
#include "Download.h"
#include "Http/PrivateFiles.h"

#include <Models/ModelFolder.h>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t megabyte = 1'000'000;
constexpr std::uintmax_t toSpare = 50 * megabyte;

void checkSpace(const fs::path& folder, const fs::path& work, const CatalogueEntry& entry) {
    std::uintmax_t have = 0;
    for (const auto& file : fs::directory_iterator(work))
        have += file.is_regular_file() ? file.file_size() : 0;
    const auto toFetch = entry.bytes() > have ? entry.bytes() - have : 0;
    const auto needed = toFetch + entry.unpackedBytes + toSpare;
    const auto free = fs::space(folder).available;
    if (free < needed)
        throw std::runtime_error(folder.string() + " has " + megabytes(free) + " free; the model needs " +
                                 megabytes(needed));
}

/// Says every tenth part, or every 50 MB of a file of unknown size.
auto progressOf(const std::function<void(const std::string&)>& say) {
    return [say, last = std::uintmax_t{0}](std::uintmax_t have, std::uintmax_t all) mutable {
        const auto step = all > 0 ? have * 10 / all : have / (50 * megabyte);
        if (step == std::exchange(last, step))
            return;
        say(megabytes(have) + (all > 0 ? " of " + megabytes(all) : std::string()));
    };
}

void describe(const fs::path& folder, const CatalogueEntry& entry) {
    writePrivateFile(folder / "model.json",
                     nlohmann::json{{"languages", entry.languages}, {"licence", entry.licence}}.dump(2) + "\n");
}

} // namespace

std::string megabytes(std::uintmax_t bytes) { return std::to_string((bytes + megabyte / 2) / megabyte) + " MB"; }

void ModelInstaller::install(const CatalogueEntry& entry) const {
    const auto place = folder / entry.name;
    const auto work = folder / (".fetching-" + entry.name);
    makePrivateDirectory(work);
    const DirectoryLock lock(work);
    if (fs::exists(place)) {
        fs::remove_all(work); // of a kill after the last step but one
        throw std::runtime_error(place.string() + " is there already");
    }
    checkSpace(folder, work, entry);
    const auto unpacked = work / "unpacked";
    fs::remove_all(unpacked);
    fs::create_directory(unpacked);
    for (const auto& file : entry.files) {
        say("fetching " + base + file.path);
        const auto target = work / fs::path(file.path).filename();
        fetch({base + file.path, target, file.bytes, file.sha256, progressOf(say)});
        if (file.path.ends_with(".tar.bz2"))
            unpack(target, unpacked);
        else
            fs::create_hard_link(target, unpacked / target.filename());
    }
    describe(unpacked, entry);
    if (!recogniser::ModelFolder::at(unpacked))
        throw std::runtime_error("what was fetched is no model of a known family");
    fs::rename(unpacked, place);
    fs::remove_all(work);
}

} // namespace parlowen::service
