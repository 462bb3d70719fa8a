#include "Languages.h"

#include "ChineseOrder.h"

#include <algorithm>
#include <unicode/locid.h>

namespace parlowen::service {

namespace {

struct Known {
    int id;
    std::string_view locale;
    std::string_view code;
    std::string_view name = {}; ///< where the usual one, of language and country, says too little
};

/// The first entry of a code is the one that stands for it as a target. No number is ever used for another language.
constexpr Known known[] = {
    {101, "ar-EG", "ar"},
    {102, "ca-ES", "ca"},
    {103, "de-DE", "de"},
    {104, "eo", "eo"},
    {105, "es-ES", "es"},
    {106, "es-MX", "es"},
    {107, "fr-FR", "fr"},
    {108, "gl-ES", "gl"},
    {109, "hi-IN", "hi"},
    {110, "id-ID", "id"},
    {111, "it-IT", "it"},
    {112, "ja-JP", "ja"},
    {113, "ko-KR", "ko"},
    {114, "nl-NL", "nl"},
    {115, "pl-PL", "pl"},
    {116, "pt-BR", "pt"},
    {117, "ru-RU", "ru"},
    {118, "th-TH", "th"},
    {119, "tr-TR", "tr"},
    {120, "vi-VN", "vi"},
    {128, "zh-CN", "zh-Hans", "中文（简体）"},
    {129, "zh-TW", "zh-Hant", "中文（繁体）"},
    {130, "zh-HK", "yue", "中文（粤语，繁体）"},
    {135, "en-US", "en"},
    {136, "en-GB", "en"},
    {137, "en-IN", "en"},
};

/// FNV-1a, so that a language without an entry has a number of its own that stays.
int numberOf(std::string_view key) {
    std::uint32_t hash = 2'166'136'261U;
    for (const char c : key)
        hash = (hash ^ static_cast<unsigned char>(c)) * 16'777'619U;
    return static_cast<int>(1'000 + hash % 1'000'000'000U);
}

std::string chineseName(const std::string& locale) {
    UErrorCode status = U_ZERO_ERROR;
    const auto parsed = icu::Locale::forLanguageTag(locale, status);
    icu::UnicodeString name;
    std::string text;
    parsed.getDisplayName(icu::Locale::getChina(), name).toUTF8String(text);
    return U_FAILURE(status) || text.empty() ? locale : text;
}

Language languageOf(const std::string& key, std::string_view Known::*keyField) {
    const auto* found =
        std::find_if(std::begin(known), std::end(known), [&](const Known& entry) { return entry.*keyField == key; });
    if (found == std::end(known))
        return {numberOf(key), chineseName(key), key, key.substr(0, key.find('-')), {}};
    const std::string locale(found->locale);
    return {found->id,
            found->name.empty() ? chineseName(locale) : std::string(found->name),
            locale,
            std::string(found->code),
            {}};
}

std::vector<Language> listed(const std::vector<std::string>& keys, std::string_view Known::*keyField) {
    const ChineseOrder order;
    std::vector<Language> list;
    for (const std::string& key : keys) {
        Language language = languageOf(key, keyField);
        language.letters = order.firstLetter(language.name);
        list.push_back(std::move(language));
    }
    std::sort(list.begin(), list.end(),
              [&order](const Language& left, const Language& right) { return order.less(left.name, right.name); });
    return list;
}

} // namespace

std::vector<Language> spokenLanguages(const std::vector<std::string>& locales) {
    return listed(locales, &Known::locale);
}

std::vector<Language> targetLanguages(const std::vector<std::string>& codes) { return listed(codes, &Known::code); }

} // namespace parlowen::service
