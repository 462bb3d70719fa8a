#include "ModelRegistry.h"

#include "Http/HttpMessage.h"
#include "Http/Log.h"
#include "Http/PrivateFiles.h"
#include "Process/ChildProcess.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;
using recogniser::ModelFolder;
using namespace std::chrono_literals;

constexpr auto trialLimit = 180s;

struct LanguageLocales {
    std::string_view language;
    std::initializer_list<const char*> locales;
};
const LanguageLocales knownLocales[] = {
    {"ar", {"ar-EG"}},          {"ca", {"ca-ES"}}, {"de", {"de-DE"}},  {"en", {"en-US", "en-GB", "en-IN"}},
    {"es", {"es-ES", "es-MX"}}, {"fr", {"fr-FR"}}, {"hi", {"hi-IN"}},  {"id", {"id-ID"}},
    {"it", {"it-IT"}},          {"ja", {"ja-JP"}}, {"ko", {"ko-KR"}},  {"nl", {"nl-NL"}},
    {"pl", {"pl-PL"}},          {"pt", {"pt-BR"}}, {"ru", {"ru-RU"}},  {"th", {"th-TH"}},
    {"tr", {"tr-TR"}},          {"vi", {"vi-VN"}}, {"yue", {"zh-HK"}}, {"zh", {"zh-CN"}},
};

/// Changes when a file of the model does.
std::string stampOf(const ModelFolder& model) {
    std::string stamp;
    for (const auto& [part, file] : model.files) {
        std::error_code error;
        stamp += part + " " + std::to_string(fs::file_size(file, error)) + " " +
                 std::to_string(fs::last_write_time(file, error).time_since_epoch().count()) + ";";
    }
    return stamp;
}

/// Until the child ends; false when the time is over before.
bool waitForEnd(int socket) {
    const auto deadline = std::chrono::steady_clock::now() + trialLimit;
    std::array<char, 512> dropped{};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd readable{socket, POLLIN, 0};
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) == 0)
            return false;
        if (recv(socket, dropped.data(), dropped.size(), 0) <= 0)
            return true;
    }
}

/// Why a model cannot be used; empty when it can. A stop ends the trial.
std::string tryModel(const fs::path& program, const ModelFolder& model, const std::stop_token& stop) {
    const int errors = memfd_create("trial-errors", MFD_CLOEXEC);
    const auto child = ChildProcess::start({program.string(), "--trial", model.folder.string()}, errors);
    std::string problem;
    if (!child) {
        problem = "the recogniser cannot be started";
    } else {
        const std::stop_callback kill(stop, [&child] { child->signal(SIGKILL); });
        const bool inTime = waitForEnd(child->socket());
        if (!inTime)
            child->signal(SIGKILL);
        const auto end = child->end(1s);
        close(child->socket());
        if (!inTime)
            problem = "its trial did not end in time";
        else if (end.signal != 0)
            problem = "its trial was killed by signal " + std::to_string(end.signal) + ". " + lastLineOf(errors);
        else if (end.status != 0)
            problem = "its trial failed: " + lastLineOf(errors);
    }
    close(errors);
    return problem;
}

fs::path trialsFile(const fs::path& own) { return own / ".trials.json"; }

bool serves(const ModelFolder& model, std::string_view locale) {
    return std::any_of(model.languages.begin(), model.languages.end(), [locale](const auto& language) {
        const auto locales = localesOf(language);
        return std::find(locales.begin(), locales.end(), locale) != locales.end();
    });
}

/// What is preferred, then what came with the recogniser, of that the more exact one.
int rank(const ModelRegistry::Entry& entry) {
    if (!entry.isInstalled)
        return entry.model.preferred ? -1 : 2;
    return entry.model.name.find("tiny") == std::string::npos ? 0 : 1;
}

} // namespace

ModelRegistry::Places ModelRegistry::Places::ofThisProgram(const fs::path& data) {
    std::error_code error;
    const auto beside = fs::read_symlink("/proc/self/exe", error).parent_path();
    const auto package = beside.parent_path() / "lib/parlowen/recogniser";
    Places places{{}, package / "models", data / "models"};
    for (const auto& program : {beside / "parlowen-recogniser", package / "parlowen-recogniser"})
        if (places.program.empty() && fs::exists(program, error) && fs::exists(package / "silero_vad.onnx", error))
            places.program = program;
    return places;
}

ModelRegistry::ModelRegistry(Places placesOfModels)
    : where_(std::move(placesOfModels)) {
    readTrials();
}

ModelRegistry::~ModelRegistry() = default;

std::vector<ModelRegistry::Entry> ModelRegistry::entries() {
    if (where_.program.empty())
        return {};
    std::vector<Entry> found;
    for (auto& model : recogniser::modelsIn(where_.installed))
        found.push_back({std::move(model), true});
    auto own = recogniser::modelsIn(where_.own);
    const std::lock_guard lock(mutex_);
    if (auto waiting = untried(own); !waiting.empty() && !std::exchange(trying_, true))
        trialThread_ =
            std::jthread([this, models = std::move(waiting)](const std::stop_token& stop) { tryAll(models, stop); });
    for (auto& model : own) {
        if (std::exchange(remarks_[model.name], model.remark) != model.remark && !model.remark.empty())
            logLine("speech model " + model.name + ": " + model.remark);
        const auto trial = trials_.find(model.name);
        const bool isTried = trial != trials_.end() && trial->second.stamp == stampOf(model);
        auto problem = isTried ? trial->second.problem.value_or("") : std::string();
        if (model.languages.empty() && problem.empty())
            problem =
                "nothing tells its languages: put their codes between dashes into the folder's name (my-model-zh-en)";
        found.push_back({std::move(model), false, isTried, std::move(problem)});
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return rank(a) < rank(b); });
    std::vector<std::string> served;
    for (auto& entry : found) {
        if (const auto aside = setAsideFor_.find(entry.model.name); aside != setAsideFor_.end())
            entry.problem = aside->second;
        if (!entry.problem.empty() || !entry.isTried)
            continue;
        for (const auto& language : entry.model.languages)
            for (auto& locale : localesOf(language))
                if (std::find(served.begin(), served.end(), locale) == served.end()) {
                    served.push_back(locale);
                    entry.locales.push_back(std::move(locale));
                }
    }
    return found;
}

std::vector<ModelRegistry::Entry> ModelRegistry::triedEntries() {
    auto found = entries();
    while (std::any_of(found.begin(), found.end(), [](const Entry& entry) { return !entry.isTried; })) {
        {
            std::unique_lock lock(mutex_);
            trialsEnded_.wait(lock, [this] { return !trying_; });
        }
        found = entries();
    }
    return found;
}

std::vector<std::string> ModelRegistry::locales() {
    std::vector<std::string> all;
    for (const auto& entry : entries())
        all.insert(all.end(), entry.locales.begin(), entry.locales.end());
    return all;
}

std::vector<ModelFolder> ModelRegistry::modelsFor(std::string_view locale) {
    std::vector<ModelFolder> models;
    for (auto& entry : entries())
        if (entry.problem.empty() && entry.isTried && serves(entry.model, locale))
            models.push_back(std::move(entry.model));
    return models;
}

void ModelRegistry::setAside(const std::string& name, const std::string& why) {
    const std::lock_guard lock(mutex_);
    setAsideFor_[name] = why;
}

std::vector<ModelFolder> ModelRegistry::untried(const std::vector<ModelFolder>& models) const {
    std::vector<ModelFolder> waiting;
    for (const auto& model : models) {
        const auto trial = trials_.find(model.name);
        if (trial == trials_.end() || trial->second.stamp != stampOf(model))
            waiting.push_back(model);
    }
    return waiting;
}

void ModelRegistry::tryAll(const std::vector<ModelFolder>& models, const std::stop_token& stop) {
    for (const auto& model : models) {
        const auto stamp = stampOf(model); // before: it may still be being copied
        auto problem = tryModel(where_.program, model, stop);
        if (stop.stop_requested())
            break; // it was not tried to its end
        logLine("speech model " + model.name + ": " + (problem.empty() ? "tried, can be used" : problem));
        const std::lock_guard lock(mutex_);
        trials_[model.name] = {stamp, std::move(problem)};
    }
    const std::lock_guard lock(mutex_);
    writeTrials();
    trying_ = false;
    trialsEnded_.notify_all();
}

void ModelRegistry::readTrials() {
    try {
        const auto json = jsonObject(readPrivateFile(trialsFile(where_.own)).value_or("{}")).value();
        for (const auto& [name, trial] : json.items())
            trials_[name] = {trial.at("stamp"), trial.at("problem").get<std::string>()};
    } catch (const std::exception&) {
        trials_.clear(); // they are tried again
    }
}

void ModelRegistry::writeTrials() const {
    auto json = nlohmann::json::object();
    for (const auto& [name, trial] : trials_)
        json[name] = {{"stamp", trial.stamp}, {"problem", trial.problem.value_or("")}};
    try {
        writePrivateFile(trialsFile(where_.own), json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    } catch (const std::exception& problem) {
        logLine(std::string("the trials of speech models cannot be kept: ") + problem.what());
    }
}

std::vector<std::string> localesOf(std::string_view language) {
    for (const auto& known : knownLocales)
        if (known.language == language)
            return {known.locales.begin(), known.locales.end()};
    return {std::string(language)};
}

} // namespace parlowen::service
