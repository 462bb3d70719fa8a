#pragma once

#include "Phrase.h"

#include <optional>

namespace parlowen {

/// The language that the user chose for the whole program, its windows and what it prints; none where each goes by its
/// own default. Any thread.
std::optional<Language> chosenLanguage();
void chooseLanguage(std::optional<Language> language);

/// The language of windows: the chosen one, else Chinese.
Language windowLanguage();

/// A language as the command line and the settings write it, "en" or "zh".
QString languageCode(Language language);
std::optional<Language> languageOfCode(const QString& code);

} // namespace parlowen
