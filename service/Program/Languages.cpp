#include "Languages.h"

#include <algorithm>
#include <string_view>

namespace parlowen::service {

namespace {

struct Language {
    int id;
    std::string_view name;
    std::string_view locale;
    std::string_view code; ///< of translation
    std::string_view letter;
};

/// The first entry of a code is the one that stands for it as a target.
constexpr Language languages[] = {
    {101, "阿拉伯语（埃及）", "ar-EG", "ar", "A"},    {102, "加泰罗尼亚语", "ca-ES", "ca", "J"},
    {103, "德语（德国）", "de-DE", "de", "D"},        {104, "世界语", "eo", "eo", "S"},
    {105, "西班牙语（西班牙）", "es-ES", "es", "X"},  {106, "西班牙语（墨西哥）", "es-MX", "es", "X"},
    {107, "法语（法国）", "fr-FR", "fr", "F"},        {108, "加利西亚语", "gl-ES", "gl", "J"},
    {109, "印地语（印度）", "hi-IN", "hi", "Y"},      {110, "印度尼西亚语", "id-ID", "id", "Y"},
    {111, "意大利语（意大利）", "it-IT", "it", "Y"},  {112, "日语（日本）", "ja-JP", "ja", "R"},
    {113, "韩语（韩国）", "ko-KR", "ko", "H"},        {114, "荷兰语（荷兰）", "nl-NL", "nl", "H"},
    {115, "波兰语（波兰）", "pl-PL", "pl", "B"},      {116, "葡萄牙语（巴西）", "pt-BR", "pt", "P"},
    {117, "俄语（俄罗斯）", "ru-RU", "ru", "E"},      {118, "泰语（泰国）", "th-TH", "th", "T"},
    {119, "土耳其语（土耳其）", "tr-TR", "tr", "T"},  {120, "越南语（越南）", "vi-VN", "vi", "Y"},
    {128, "中文（简体）", "zh-CN", "zh-Hans", "Z"},   {129, "中文（繁体）", "zh-TW", "zh-Hant", "Z"},
    {130, "中文（粤语，繁体）", "zh-HK", "yue", "Z"}, {135, "英语（美国）", "en-US", "en", "Y"},
    {136, "英语（英国）", "en-GB", "en", "Y"},        {137, "英语（印度）", "en-IN", "en", "Y"},
};

/// A language that the table does not know goes by its key.
Language languageOf(const std::string& key, std::string_view Language::*keyField) {
    const auto* found = std::find_if(std::begin(languages), std::end(languages),
                                     [&](const Language& language) { return language.*keyField == key; });
    return found == std::end(languages) ? Language{0, key, key, key, "#"} : *found;
}

nlohmann::json list(const std::vector<std::string>& keys, std::string_view Language::*keyField) {
    std::vector<Language> found;
    found.reserve(keys.size());
    for (const std::string& key : keys)
        found.push_back(languageOf(key, keyField));
    std::stable_sort(found.begin(), found.end(),
                     [](const Language& left, const Language& right) { return left.letter < right.letter; });
    nlohmann::json entries = nlohmann::json::array();
    for (const Language& language : found)
        entries.push_back({{"ID", language.id},
                           {"name", language.name},
                           {"original_key", language.locale},
                           {"translation_key", language.code},
                           {"first_letters", language.letter}});
    return entries;
}

} // namespace

nlohmann::json recognitionList(const LanguageOffer& offer) { return list(offer.recognition, &Language::locale); }

nlohmann::json translationList(const LanguageOffer& offer) { return list(offer.translation, &Language::code); }

} // namespace parlowen::service
