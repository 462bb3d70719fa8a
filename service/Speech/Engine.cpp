#include "Engine.h"

#include <algorithm>
#include <cctype>

namespace parlowen::service {

namespace {

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

} // namespace

void EngineSet::stop() const {
    for (const auto& translator : translators_)
        translator->stop();
}

std::string primarySubtag(std::string_view locale) { return lowered(locale.substr(0, locale.find('-'))); }

void EngineSet::add(std::shared_ptr<RecognitionEngine> engine) { engines_.push_back(std::move(engine)); }

void EngineSet::addFirst(std::shared_ptr<RecognitionEngine> engine) {
    engines_.insert(engines_.begin(), std::move(engine));
}

void EngineSet::add(std::shared_ptr<Translator> translator) { translators_.push_back(std::move(translator)); }

std::shared_ptr<RecognitionEngine> EngineSet::engineFor(std::string_view locale) const {
    const auto wanted = lowered(locale);
    for (const auto& engine : engines_) {
        const auto locales = engine->locales();
        if (std::any_of(locales.begin(), locales.end(),
                        [&](const auto& offered) { return lowered(offered) == wanted; }))
            return engine;
    }
    return nullptr;
}

std::shared_ptr<Translator> EngineSet::translatorFor(const LanguagePair& pair) const {
    for (const auto& translator : translators_) {
        const auto pairs = translator->pairs();
        if (std::find(pairs.begin(), pairs.end(), pair) != pairs.end())
            return translator;
    }
    return nullptr;
}

OfferedLanguages EngineSet::languages() const {
    OfferedLanguages result;
    for (const auto& engine : engines_)
        for (auto& locale : engine->locales())
            if (std::find(result.recognition.begin(), result.recognition.end(), locale) == result.recognition.end())
                result.recognition.push_back(std::move(locale));
    const auto isSpoken = [&result](const LanguagePair& pair) {
        return std::any_of(result.recognition.begin(), result.recognition.end(),
                           [&pair](const auto& locale) { return primarySubtag(locale) == pair.from; });
    };
    for (const auto& translator : translators_)
        for (auto& pair : translator->pairs())
            if (isSpoken(pair))
                result.translation.push_back(std::move(pair));
    return result;
}

} // namespace parlowen::service
