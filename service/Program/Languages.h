#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

/// A language as lists show it. Its number stays the same over versions and machines, since clients keep it.
struct Language {
    int id = 0;
    std::string name;    ///< in Chinese, such as "英语（美国）"
    std::string locale;  ///< key of recognition, such as "en-US"
    std::string code;    ///< key of translation, such as "en"
    std::string letters; ///< the first letter of the name, of a Chinese one in pinyin; "#" for none
};

/// What is heard under those locales, ordered as a Chinese dictionary has the names: by pinyin.
std::vector<Language> spokenLanguages(const std::vector<std::string>& locales);
/// What is translated into under those codes, ordered likewise. A code of several locales goes by its first one.
std::vector<Language> targetLanguages(const std::vector<std::string>& codes);

} // namespace parlowen::service
