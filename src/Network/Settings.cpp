#include "Settings.h"

#include <Foundation/ChosenLanguage.h>
#include <Foundation/LocalTrust.h>
#include <Foundation/UserDefaults.h>

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QSettings>
#include <QUrl>
#include <array>

namespace parlowen {

namespace {

// How each type of value lies in the store: scalars as plain values, records as their JSON data.

template<class Record>
std::optional<Record> load(const UserDefaults& defaults, const char* key, const Record*) {
    const std::optional<QByteArray> data = defaults.data(key);
    return data ? decodeStrict<Record>(*data) : std::nullopt;
}
std::optional<QString> load(const UserDefaults& defaults, const char* key, const QString*) {
    return defaults.string(key);
}
std::optional<bool> load(const UserDefaults& defaults, const char* key, const bool*) { return defaults.boolean(key); }
std::optional<qint64> load(const UserDefaults& defaults, const char* key, const qint64*) {
    return defaults.integer(key);
}

template<class Record>
void store(UserDefaults& defaults, const char* key, const Record& record) {
    defaults.setData(key, encodeStrict(record));
}
void store(UserDefaults& defaults, const char* key, const QString& text) { defaults.setString(key, text); }
void store(UserDefaults& defaults, const char* key, bool flag) { defaults.setBoolean(key, flag); }
void store(UserDefaults& defaults, const char* key, qint64 number) { defaults.setInteger(key, number); }

/// The service of this machine is one and the same at any port: its certificate shows it.
QString originOf(const QString& baseUrl) {
    const QUrl url(baseUrl);
    const QString place = isLoopbackHost(url.host())
                              ? QStringLiteral("localhost")
                              : url.host().toLower() + QLatin1Char(':') +
                                    QString::number(url.port(url.scheme() == QLatin1String("http") ? 80 : 443));
    return url.scheme() + QStringLiteral("://") + place;
}

} // namespace

Settings::Settings(UserDefaults& defaults, std::unique_ptr<SecretKeeper> keeper)
    : defaults_(defaults)
    , token_(std::make_unique<TokenStore>(defaults, std::move(keeper))) {}

template<class Value>
std::optional<Value> Settings::read(const SettingsKey<Value>& key) const {
    return load(defaults_, key.name, static_cast<const Value*>(nullptr));
}

template<class Value>
void Settings::write(const SettingsKey<Value>& key, const std::optional<Value>& value) {
    if (value)
        store(defaults_, key.name, *value);
    else
        defaults_.remove(key.name);
}

void Settings::useBackend(const QString& baseUrl, bool isUsual) {
    backend_ = originOf(baseUrl);
    if (isUsual && !read(SettingsKeys::loginTokenBackend))
        write(SettingsKeys::loginTokenBackend, std::optional(backend_));
}

bool Settings::hasTokenOfBackend() const {
    return backend_.isEmpty() || read(SettingsKeys::loginTokenBackend) == backend_;
}

std::optional<QString> Settings::loginToken() const { return hasTokenOfBackend() ? token_->read() : std::nullopt; }

void Settings::setLoginToken(const std::optional<QString>& token) {
    token_->write(token);
    if (!backend_.isEmpty())
        write(SettingsKeys::loginTokenBackend, std::optional(backend_));
}

bool Settings::isAutoLogin() const { return read(SettingsKeys::isAutoLogin).value_or(false); }

void Settings::setAutoLogin(bool on) { write(SettingsKeys::isAutoLogin, std::optional(on)); }

std::optional<UserBaseModel> Settings::userInfo() const { return read(SettingsKeys::userInfo); }

void Settings::setUserInfo(const std::optional<UserBaseModel>& user) { write(SettingsKeys::userInfo, user); }

std::optional<AIInterviewModel> Settings::aiInterviewSetModel() const {
    return read(SettingsKeys::aiInterviewSetModel);
}

void Settings::setAiInterviewSetModel(const std::optional<AIInterviewModel>& model) {
    write(SettingsKeys::aiInterviewSetModel, model);
}

std::optional<LanguageListModel> Settings::aiLangChinaModel() const { return read(SettingsKeys::aiLangChinaModel); }

void Settings::setAiLangChinaModel(const std::optional<LanguageListModel>& language) {
    write(SettingsKeys::aiLangChinaModel, language);
}

std::optional<LanguageListModel> Settings::aiLangLeftModel() const { return read(SettingsKeys::aiLangLeftModel); }

void Settings::setAiLangLeftModel(const std::optional<LanguageListModel>& language) {
    write(SettingsKeys::aiLangLeftModel, language);
}

std::optional<LanguageListModel> Settings::aiLangRightModel() const { return read(SettingsKeys::aiLangRightModel); }

void Settings::setAiLangRightModel(const std::optional<LanguageListModel>& language) {
    write(SettingsKeys::aiLangRightModel, language);
}

std::optional<qint64> Settings::aiInterviewType() const { return read(SettingsKeys::aiInterviewType); }

void Settings::setAiInterviewType(const std::optional<qint64>& type) { write(SettingsKeys::aiInterviewType, type); }

std::optional<QString> Settings::heardProgram() const { return read(SettingsKeys::heardProgram); }

void Settings::setHeardProgram(const std::optional<QString>& name) { write(SettingsKeys::heardProgram, name); }

std::optional<qint64> Settings::sessionWindowOpacity() const { return read(SettingsKeys::sessionWindowOpacity); }

void Settings::setSessionWindowOpacity(qint64 percent) {
    write(SettingsKeys::sessionWindowOpacity, std::optional(percent));
}

bool Settings::globalShortcuts() const { return read(SettingsKeys::globalShortcuts).value_or(false); }

void Settings::setGlobalShortcuts(bool on) { write(SettingsKeys::globalShortcuts, std::optional(on)); }

std::optional<Language> Settings::uiLanguage() const {
    return languageOfCode(read(SettingsKeys::uiLanguage).value_or(QString()));
}

std::optional<Language> Settings::uiLanguageIn(const QString& filePath) {
    const QSettings file(filePath, QSettings::IniFormat);
    return languageOfCode(file.value(QLatin1String(SettingsKeys::uiLanguage.name)).toString());
}

void Settings::setUiLanguage(Language language) {
    write(SettingsKeys::uiLanguage, std::optional(languageCode(language)));
}

std::optional<QString> Settings::fuwuqiKey() const { return read(SettingsKeys::fuwuqiKey); }

QByteArray Settings::deviceOf(const QString& baseUrl) {
    auto secret = read(SettingsKeys::deviceSecret);
    if (!secret) {
        std::array<quint32, 8> random{};
        QRandomGenerator::system()->fillRange(random.data(), random.size());
        secret = QString::fromLatin1(QByteArray::fromRawData(reinterpret_cast<const char*>(random.data()), 32).toHex());
        write(SettingsKeys::deviceSecret, secret);
    }
    return QCryptographicHash::hash((*secret + originOf(baseUrl)).toUtf8(), QCryptographicHash::Sha256).toHex();
}

void Settings::clearRejectedSignIn() {
    if (!hasTokenOfBackend())
        return; // it was not what was refused
    setLoginToken(std::nullopt);
    remove(SettingsKeys::userInfo.name);
}

void Settings::clearSignIn() {
    clearRejectedSignIn();
    remove(SettingsKeys::isAutoLogin.name);
}

void Settings::remove(const QString& key) {
    if (key == QLatin1String(SettingsKeys::loginToken.name))
        setLoginToken(std::nullopt);
    else
        defaults_.remove(key);
}

bool Settings::synchronize() {
    token_->flush();
    return defaults_.synchronize();
}

} // namespace parlowen
