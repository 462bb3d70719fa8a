#include "ModelInstaller.h"

#include "Archive.h"
#include "Http/PrivateFiles.h"

#include <Models/ModelFolder.h>
#include <algorithm>
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

bool holdsBytes(const fs::path& folder) {
    return std::any_of(fs::directory_iterator(folder), fs::directory_iterator(),
                       [](const auto& file) { return file.is_regular_file() && file.file_size() > 0; });
}

/// The names of a few files, for people.
std::string namesIn(const fs::path& folder) {
    constexpr int most = 5;
    std::string names;
    int count = 0;
    for (const auto& file : fs::directory_iterator(folder))
        if (++count <= most)
            names += (names.empty() ? "" : ", ") + file.path().filename().string();
    return names.empty() ? "no file in a folder of its own" : names + (count > most ? ", …" : "");
}

} // namespace

std::string megabytes(std::uintmax_t bytes) { return std::to_string((bytes + megabyte / 2) / megabyte) + " MB"; }

void ModelInstaller::install(const CatalogueEntry& entry) const {
    const auto place = folder / entry.name;
    const auto work = folder / (".fetching-" + entry.name);
    for (const auto& file : entry.files)
        requireSafe(downloadOf(file, work));
    makePrivateDirectory(work);
    const DirectoryLock lock(work);
    if (fs::exists(place)) {
        fs::remove_all(work); // of a kill after the last step but one
        throw std::runtime_error(place.string() + " is there already");
    }
    const auto unpacked = work / "unpacked";
    std::error_code ignored;
    try {
        checkSpace(folder, work, entry);
        assemble(entry, work, unpacked);
    } catch (const Unusable& problem) {
        fs::remove_all(work, ignored);
        throw std::runtime_error(std::string(problem.what()) + "; it was removed");
    } catch (...) {
        fs::remove_all(unpacked, ignored);
        if (!holdsBytes(work))
            fs::remove_all(work, ignored);
        throw;
    }
    fs::rename(unpacked, place);
    fs::remove_all(work);
}

Download ModelInstaller::downloadOf(const CatalogueEntry::File& file, const fs::path& work) const {
    Download download{base + file.path, work / fs::path(file.path).filename(), file.bytes, file.sha256,
                      progressOf(say)};
    download.stalled = [say = say] { say("nothing has come for some seconds; it is waited for, and asked for again"); };
    return download;
}

void ModelInstaller::assemble(const CatalogueEntry& entry, const fs::path& work, const fs::path& unpacked) const {
    fs::remove_all(unpacked);
    fs::create_directory(unpacked);
    for (const auto& file : entry.files) {
        const auto download = downloadOf(file, work);
        say("fetching " + download.address);
        fetch(download);
        if (file.path.ends_with(".tar.bz2"))
            unpack(download.file, unpacked);
        else
            fs::create_hard_link(download.file, unpacked / download.file.filename());
    }
    if (!recogniser::ModelFolder::at(unpacked))
        throw Unusable("what was fetched is no model of a known family (" + namesIn(unpacked) + ")");
    describe(unpacked, entry);
}

} // namespace parlowen::service
