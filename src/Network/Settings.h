#pragma once

#include "Models.h"
#include "TokenStore.h"

#include <Foundation/Phrase.h>

#include <QString>
#include <optional>

namespace parlowen {

class UserDefaults;

/// The name of one setting and the type of its value.
template<class Value>
struct SettingsKey {
    const char* name;
};

/// Every setting that the application keeps.
namespace SettingsKeys {
inline constexpr SettingsKey<QString> loginToken{"LOGIN_TOKEN"};
inline constexpr SettingsKey<QString> loginTokenBackend{"LOGIN_TOKEN_BACKEND"};
inline constexpr SettingsKey<bool> isAutoLogin{"isAutoLogin"};
inline constexpr SettingsKey<UserBaseModel> userInfo{"userInfo"};
inline constexpr SettingsKey<AIInterviewModel> aiInterviewSetModel{"aiInterviewSetModel"};
inline constexpr SettingsKey<LanguageListModel> aiLangChinaModel{"aiLangChinaModel"};
inline constexpr SettingsKey<LanguageListModel> aiLangLeftModel{"aiLangLeftModel"};
inline constexpr SettingsKey<LanguageListModel> aiLangRightModel{"aiLangRightModel"};
inline constexpr SettingsKey<qint64> aiInterviewType{"aiInterviewType"};
inline constexpr SettingsKey<QString> heardProgram{"heardProgram"};
inline constexpr SettingsKey<qint64> sessionWindowOpacity{"sessionWindowOpacity"};
inline constexpr SettingsKey<bool> globalShortcuts{"globalShortcuts"};
inline constexpr SettingsKey<QString> uiLanguage{"uiLanguage"};
inline constexpr SettingsKey<QString> fuwuqiKey{"fuwuqi_key"};
inline constexpr SettingsKey<QString> deviceSecret{"deviceSecret"};
} // namespace SettingsKeys

/// Typed access to the settings. Every read goes to the store. Writing an absent value removes the key. A stored record
/// that no longer decodes reads as absent. Any thread.
class Settings {
public:
    /// The defaults outlive it. The keeper, where there is one, takes the sign-in token.
    explicit Settings(UserDefaults& defaults, std::unique_ptr<SecretKeeper> keeper = nullptr);

    /// From here on the token is handed out only where this backend gave it, and a new one is noted as its own. One
    /// that was stored without a note is the usual backend's. Once, before other threads read.
    void useBackend(const QString& baseUrl, bool isUsual);

    std::optional<QString> loginToken() const;
    void setLoginToken(const std::optional<QString>& token);
    /// Calls `arrived` on the main thread when the keeper gives the backend's token after all; true when that may
    /// happen.
    bool awaitLateToken(std::function<void()> arrived) {
        return hasTokenOfBackend() && token_->awaitLate(std::move(arrived));
    }

    /// False when missing.
    bool isAutoLogin() const;
    void setAutoLogin(bool on);

    std::optional<UserBaseModel> userInfo() const;
    void setUserInfo(const std::optional<UserBaseModel>& user);

    std::optional<AIInterviewModel> aiInterviewSetModel() const;
    void setAiInterviewSetModel(const std::optional<AIInterviewModel>& model);

    std::optional<LanguageListModel> aiLangChinaModel() const;
    void setAiLangChinaModel(const std::optional<LanguageListModel>& language);
    std::optional<LanguageListModel> aiLangLeftModel() const;
    void setAiLangLeftModel(const std::optional<LanguageListModel>& language);
    std::optional<LanguageListModel> aiLangRightModel() const;
    void setAiLangRightModel(const std::optional<LanguageListModel>& language);

    /// 1 domestic, 2 foreign, 3 either.
    std::optional<qint64> aiInterviewType() const;
    void setAiInterviewType(const std::optional<qint64>& type);

    /// The program that alone is heard of what the computer plays; none for everything.
    std::optional<QString> heardProgram() const;
    void setHeardProgram(const std::optional<QString>& name);

    /// How opaque the session window's ground is, in percent.
    std::optional<qint64> sessionWindowOpacity() const;
    void setSessionWindowOpacity(qint64 percent);

    /// Whether shortcuts work while another program has the keyboard; false when missing.
    bool globalShortcuts() const;
    void setGlobalShortcuts(bool on);

    /// The language that was chosen for the program, "en" or "zh" in the store; none before that.
    std::optional<Language> uiLanguage() const;
    /// The same, read from the file alone, which stays as it is.
    static std::optional<Language> uiLanguageIn(const QString& filePath);
    void setUiLanguage(Language language);

    /// Stands in for the request layer's base URL; the application never writes it.
    std::optional<QString> fuwuqiKey() const;

    /// What this device is known by to a backend: 64 hexadecimal digits that tell neither another backend's nor
    /// anything of the device, and that nobody guesses. The same until the settings are erased.
    QByteArray deviceOf(const QString& baseUrl);

    /// What a reply with HTTP status 401 takes away: the token and the profile. Automatic sign-in stays as it is.
    void clearRejectedSignIn();
    /// What signing out or deleting the account takes away: the token, automatic sign-in and the profile.
    void clearSignIn();

    void remove(const QString& key);

    /// Saves what an earlier write could not, and the token wherever it is kept; false when that fails.
    bool synchronize();

private:
    template<class Value>
    std::optional<Value> read(const SettingsKey<Value>& key) const;
    template<class Value>
    void write(const SettingsKey<Value>& key, const std::optional<Value>& value);

    bool hasTokenOfBackend() const;

    UserDefaults& defaults_;
    const std::unique_ptr<TokenStore> token_;
    QString backend_; ///< whose token counts; empty: any
};

} // namespace parlowen
