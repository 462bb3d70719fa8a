#pragma once

#include <string>
#include <vector>

namespace parlowen::service {

/// A country or region as the list of dialling codes shows it.
struct Country {
    std::string region;       ///< ISO 3166-1, two letters
    std::string englishName;  ///< as the Unicode CLDR has it
    std::string diallingCode; ///< digits, without "+"
    std::string chineseName;  ///< likewise
    std::string firstLetter;  ///< of the Chinese name in pinyin
};

/// All that have a dialling code, ordered by letters and then as a Chinese dictionary has the names. Throws
/// std::runtime_error when ICU lacks its data.
std::vector<Country> countries();

} // namespace parlowen::service
