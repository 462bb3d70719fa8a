#include "ChosenLanguage.h"

#include <atomic>

namespace parlowen {

namespace {

std::atomic<std::optional<Language>> chosen;

} // namespace

std::optional<Language> chosenLanguage() { return chosen; }

void chooseLanguage(std::optional<Language> language) { chosen = language; }

Language windowLanguage() { return chosenLanguage().value_or(Language::Chinese); }

QString languageCode(Language language) {
    return language == Language::Chinese ? QStringLiteral("zh") : QStringLiteral("en");
}

std::optional<Language> languageOfCode(const QString& code) {
    for (const Language language : {Language::English, Language::Chinese}) {
        if (code == languageCode(language))
            return language;
    }
    return std::nullopt;
}

} // namespace parlowen
