#pragma once

#include "Http/Router.h"

#include <functional>
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

/// The list of languages, by `source`: 1 those that are recognised, 2 those that are translated into. Entries of ID,
/// name, original_key, translation_key and first_letters, ordered by their letters.
void addLanguageRoutes(Router& router, LanguageCatalog catalog, const Guard& signedInOnly);

/// Hands out what opens the speech gateway of this very service: a token, and the base URL that the client reached it
/// by.
void addSpeechTokenRoute(Router& router, std::function<std::string()> issue, const Guard& signedInOnly);

/// The newest version, which is this one.
void addVersionRoute(Router& router);

/// Paths that clients know and this service does not offer yet: a code that is not 0, and why.
void addMissingRoutes(Router& router, const Guard& signedInOnly);

} // namespace parlowen::service
