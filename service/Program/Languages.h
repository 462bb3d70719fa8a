#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace parlowen::service {

/// What speech recognition and translation really offer.
struct LanguageOffer {
    std::vector<std::string> recognition; ///< locales, such as "en-US"
    std::vector<std::string> translation; ///< codes of targets, such as "es"
};

/// Asked anew for every list, so that engines may come and go.
using LanguageCatalog = std::function<LanguageOffer()>;

/// Entries of ID, name, original_key, translation_key and first_letters, ordered by their letters.
nlohmann::json recognitionList(const LanguageOffer& offer);
nlohmann::json translationList(const LanguageOffer& offer);

} // namespace parlowen::service
