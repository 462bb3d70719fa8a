#include "SPXSpeechConfiguration.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

/// Why the token cannot travel in a header, or null.
const char* problemWithToken(const QString& token) {
    if (token.isEmpty())
        return "The speech service's token is missing";
    const bool printable = std::all_of(token.begin(), token.end(), [](QChar c) { return c > ' ' && c <= '~'; });
    return printable ? nullptr : "The speech service's token holds a character that no token has";
}

} // namespace

SPXSpeechConfiguration::SPXSpeechConfiguration(QString token, SpeechEndpoint endpoint)
    : token_(std::move(token))
    , endpoint_(std::move(endpoint)) {}

std::optional<SPXSpeechConfiguration> SPXSpeechConfiguration::make(const QString& token, const QString& region,
                                                                   QString* error) {
    if (const char* problem = problemWithToken(token)) {
        if (error)
            *error = problem;
        return std::nullopt;
    }
    const std::optional<SpeechEndpoint> endpoint = SpeechEndpoint::make(region, error);
    return endpoint ? std::optional(SPXSpeechConfiguration(token, *endpoint)) : std::nullopt;
}

SPXSpeechTranslationConfiguration::SPXSpeechTranslationConfiguration(SPXSpeechConfiguration base)
    : SPXSpeechConfiguration(std::move(base)) {}

std::optional<SPXSpeechTranslationConfiguration>
SPXSpeechTranslationConfiguration::make(const QString& token, const QString& region, QString* error) {
    std::optional<SPXSpeechConfiguration> base = SPXSpeechConfiguration::make(token, region, error);
    return base ? std::optional(SPXSpeechTranslationConfiguration(std::move(*base))) : std::nullopt;
}

} // namespace parlowen
