#pragma once

#include "Http/Router.h"

#include <functional>
#include <string>
#include <tl/expected.hpp>
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

/// Fetches a token of a cloud region; or words for the user.
using RegionTokenSource = std::function<boost::asio::awaitable<tl::expected<std::string, std::string>>()>;

/// Hands out what opens a cloud region: a token, and the area that clients know it by.
void addRegionTokenRoute(Router& router, RegionTokenSource token, const std::string& area, const Guard& signedInOnly);

/// Hands out what opens the speech gateway of this very service: a token, and the base URL that the client reached it
/// by. `issue` gives an empty text where the sign-in is over; it runs on a worker thread.
void addSpeechTokenRoute(Router& router, std::function<std::string(std::string_view signInToken)> issue,
                         const Guard& signedInOnly);

/// The newest version, which is this one.
void addVersionRoute(Router& router);

/// The description of the JSON API, as an OpenAPI document.
void addDescriptionRoute(Router& router);

/// All countries and regions with their dialling codes.
void addCountryRoute(Router& router);

/// The URL of a QR code that says a text, and the picture itself; an empty text: none is offered. Throws
/// std::runtime_error for a text that is too long.
void addContactRoutes(Router& router, const std::string& text);

} // namespace parlowen::service
