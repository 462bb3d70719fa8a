#pragma once

#include <Models/ModelFolder.h>

#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace parlowen::service {

/// The speech models of this machine: those that came with the recogniser, and those that lie in the user's folder,
/// which are tried in a process of their own before they serve anybody. Thread-safe.
class ModelRegistry {
public:
    struct Places {
        std::filesystem::path program;   ///< parlowen-recogniser; empty: there is none, and no model serves
        std::filesystem::path installed; ///< folder of folders that came with it
        std::filesystem::path own;       ///< the user's folder of folders; need not exist

        /// Beside this program, or where the package puts them.
        static Places ofThisProgram(const std::filesystem::path& data);
    };
    struct Entry {
        recogniser::ModelFolder model;
        bool isInstalled = false;           ///< came with the recogniser
        bool isTried = true;                ///< false while its trial has not ended
        std::string problem{};              ///< why it does not serve; empty: it does
        std::vector<std::string> locales{}; ///< that it serves, before all others
    };

    explicit ModelRegistry(Places placesOfModels);
    ~ModelRegistry();
    ModelRegistry(const ModelRegistry&) = delete;
    ModelRegistry& operator=(const ModelRegistry&) = delete;

    const Places& places() const { return where_; }
    /// As they lie there now. Models that came with the recogniser go before the user's, unless one is preferred.
    /// Starts the trials of new ones.
    std::vector<Entry> entries();
    /// The same, once all trials have ended.
    std::vector<Entry> triedEntries();
    std::vector<std::string> locales();
    /// The models that can serve a locale, the best first.
    std::vector<recogniser::ModelFolder> modelsFor(std::string_view locale);
    /// It serves nobody until the service ends.
    void setAside(const std::string& name, const std::string& why);

private:
    struct Trial {
        std::string stamp; ///< of the files that were tried
        std::optional<std::string> problem;
    };

    void tryAll(const std::vector<recogniser::ModelFolder>& models, const std::stop_token& stop);
    std::vector<recogniser::ModelFolder> untried(const std::vector<recogniser::ModelFolder>& models) const;
    void readTrials();
    void writeTrials() const;

    const Places where_;
    std::mutex mutex_; ///< of what follows
    std::map<std::string, Trial> trials_;
    std::map<std::string, std::string> setAsideFor_;
    std::map<std::string, std::string> remarks_; ///< on models, as they were logged
    bool trying_ = false;
    std::condition_variable trialsEnded_;
    std::jthread trialThread_;
};

/// Locales of a language, such as "en-US" and "en-GB" of "en".
std::vector<std::string> localesOf(std::string_view language);

} // namespace parlowen::service
