#pragma once

#include "CommandLine.h"

#include <Foundation/Result.h>
#include <Foundation/UserDefaults.h>
#include <Network/Models.h>
#include <Network/Settings.h>

#include <QTemporaryDir>
#include <memory>
#include <optional>
#include <vector>

namespace parlowen {

/// The settings of one session: a private copy of the stored ones, in which the command line's wishes stand in for what
/// is stored. The stored settings are read once, and written by storeLooks() alone. Main thread only.
class SessionSettings {
public:
    /// The keeper gives the stored token, where it has it.
    explicit SessionSettings(std::unique_ptr<SecretKeeper> keeper = nullptr,
                             const QString& storedFile = UserDefaults::defaultPath());

    Settings& settings() { return *settings_; }

    /// Fails, in plain words, when there are stored settings that are not used.
    const Result<void>& stored() const { return stored_; }

    /// Answer settings: the stored ones, or automatic concise answers; manual ones when the command line asks for them,
    /// else automatic ones where there is no window with an answer button.
    void applyAnswers(const CommandLine& line);

    /// Languages: those of the command line, else the stored ones, else the first that the backend offers (`spoken`,
    /// `targets`: its two language lists). A key that no list holds is used as it is: the speech service says what it
    /// offers.
    void applyLanguages(const CommandLine& line, const std::vector<LanguageListModel>& spoken,
                        const std::vector<LanguageListModel>& targets);

    /// Stores what the user changed in the session window itself: the size of its text and how dense its ground is.
    /// What was not changed stays as it is stored.
    void storeLooks();

private:
    /// What of a settings file the session window can change.
    struct Looks {
        explicit Looks(const Settings& settings);
        std::optional<qint64> fontSize;
        std::optional<qint64> opacity;
    };

    QString storedFile_;
    QTemporaryDir folder_;
    Result<void> stored_;
    std::unique_ptr<UserDefaults> defaults_;
    std::unique_ptr<Settings> settings_;
    std::optional<Looks> opened_; ///< as the window opens
};

} // namespace parlowen
