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

Result<SPXSpeechConfiguration> SPXSpeechConfiguration::make(const QString& token, const QString& region) {
    if (const char* problem = problemWithToken(token))
        return failure(problem);
    return SpeechEndpoint::make(region).map(
        [&token](SpeechEndpoint endpoint) { return SPXSpeechConfiguration(token, std::move(endpoint)); });
}

SPXSpeechTranslationConfiguration::SPXSpeechTranslationConfiguration(SPXSpeechConfiguration base)
    : SPXSpeechConfiguration(std::move(base)) {}

Result<SPXSpeechTranslationConfiguration> SPXSpeechTranslationConfiguration::make(const QString& token,
                                                                                  const QString& region) {
    return SPXSpeechConfiguration::make(token, region).map([](SPXSpeechConfiguration base) {
        return SPXSpeechTranslationConfiguration(std::move(base));
    });
}

} // namespace parlowen
