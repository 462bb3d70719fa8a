#include "SessionSettings.h"

#include <Foundation/Phrase.h>
#include <Foundation/SettingsFile.h>

#include <QFile>
#include <QStandardPaths>
#include <algorithm>

namespace parlowen {

namespace {

constexpr Phrase notCopied{"it cannot be copied", "无法复制"};
constexpr Phrase notUsed{"the settings in %1 are not used: %2", "未使用 %1 中的设置：%2"};

constexpr qint64 singleLanguage = 1;
constexpr qint64 twoLanguages = 2;
constexpr qint64 automaticAnswers = 0;
constexpr qint64 manualAnswers = 1;
const char* const defaultPosition = "Software Engineer";

// The copy holds the sign-in token: memory of this user's session where there is such a place.
QString folderTemplate() {
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return (runtime.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::TempLocation) : runtime) +
           QStringLiteral("/parlowen-session-XXXXXX");
}

LanguageListModel spokenLanguage(const QString& key, const std::vector<LanguageListModel>& list) {
    const auto found = std::ranges::find_if(list, [&key](const LanguageListModel& language) {
        return language.original_key.compare(key, Qt::CaseInsensitive) == 0;
    });
    return found != list.end() ? *found : LanguageListModel{0, key, key, {}, {}};
}

LanguageListModel targetLanguage(const QString& key, const std::vector<LanguageListModel>& list) {
    const auto found = std::ranges::find_if(list, [&key](const LanguageListModel& language) {
        return language.translation_key.compare(key, Qt::CaseInsensitive) == 0;
    });
    return found != list.end() ? *found : LanguageListModel{0, key, {}, key, {}};
}

std::optional<LanguageListModel> firstOf(const std::vector<LanguageListModel>& list) {
    return list.empty() ? std::nullopt : std::optional(list.front());
}

} // namespace

SessionSettings::SessionSettings(std::unique_ptr<SecretKeeper> keeper, const QString& storedFile)
    : storedFile_(storedFile)
    , folder_(folderTemplate()) {
    const QString copy = folder_.filePath(QStringLiteral("settings.ini"));
    Result<void> usable = SettingsFile::check(storedFile);
    if (usable && QFile::exists(storedFile) && !QFile::copy(storedFile, copy))
        usable = failure(notCopied.here());
    if (!usable)
        stored_ = failure(notUsed.here(storedFile, usable.error()));
    defaults_ = std::make_unique<UserDefaults>(copy);
    settings_ = std::make_unique<Settings>(*defaults_);
    if (keeper && usable) {
        UserDefaults storedDefaults(storedFile);
        settings_->setLoginToken(Settings(storedDefaults, std::move(keeper)).loginToken());
    }
}

void SessionSettings::applyAnswers(const CommandLine& line) {
    AIInterviewModel model;
    if (const auto stored = settings_->aiInterviewSetModel())
        model = *stored;
    else
        model.positioname = QString::fromLatin1(defaultPosition);
    if (line.manual)
        model.antoAnswerType = manualAnswers;
    else if (line.headless)
        model.antoAnswerType = automaticAnswers; // there is no button
    settings_->setAiInterviewSetModel(model);
    opened_.emplace(*settings_);
}

SessionSettings::Looks::Looks(const Settings& settings)
    : opacity(settings.sessionWindowOpacity()) {
    if (const auto model = settings.aiInterviewSetModel())
        fontSize = model->answerFontSize;
}

void SessionSettings::storeLooks() {
    const Looks now(*settings_);
    const bool sameSize = !opened_ || now.fontSize == opened_->fontSize;
    const bool sameGround = !opened_ || now.opacity == opened_->opacity;
    if (!stored_ || (sameSize && sameGround))
        return;
    UserDefaults storedDefaults(storedFile_);
    Settings stored(storedDefaults);
    if (!sameGround && now.opacity)
        stored.setSessionWindowOpacity(*now.opacity);
    // Without stored answer settings there is nothing for the size to be part of.
    if (auto model = stored.aiInterviewSetModel(); model && !sameSize && now.fontSize) {
        model->answerFontSize = *now.fontSize;
        stored.setAiInterviewSetModel(model);
    }
}

void SessionSettings::applyLanguages(const CommandLine& line, const std::vector<LanguageListModel>& spoken,
                                     const std::vector<LanguageListModel>& targets) {
    const bool single =
        line.translateTo.isEmpty() &&
        (!line.language.isEmpty() || settings_->aiInterviewType().value_or(singleLanguage) == singleLanguage);
    if (single) {
        std::optional<LanguageListModel> language = settings_->aiLangChinaModel();
        if (!line.language.isEmpty())
            language = spokenLanguage(line.language, spoken);
        else if (!language)
            language = firstOf(spoken);
        settings_->setAiInterviewType(singleLanguage);
        settings_->setAiLangChinaModel(language);
        return;
    }

    std::optional<LanguageListModel> left = settings_->aiLangLeftModel();
    std::optional<LanguageListModel> right = settings_->aiLangRightModel();
    if (!line.language.isEmpty())
        left = spokenLanguage(line.language, spoken);
    else if (!left)
        left = firstOf(spoken);
    if (!line.translateTo.isEmpty())
        right = targetLanguage(line.translateTo, targets);
    else if (!right)
        right = firstOf(targets);
    settings_->setAiInterviewType(twoLanguages);
    settings_->setAiLangLeftModel(left);
    settings_->setAiLangRightModel(right);
}

} // namespace parlowen
