#pragma once

#include <memory>
#include <string>
#include <unicode/coll.h>
#include <unicode/translit.h>

namespace parlowen::service {

/// How Chinese names are listed. Throws std::runtime_error when ICU lacks its data.
class ChineseOrder {
public:
    ChineseOrder();

    /// "A" to "Z", of a Chinese name in pinyin; "#" for none.
    std::string firstLetter(const std::string& name) const;
    /// Whether a Chinese dictionary has one before the other.
    bool less(const std::string& left, const std::string& right) const;

private:
    std::unique_ptr<icu::Transliterator> pinyin_;
    std::unique_ptr<icu::Collator> order_;
};

} // namespace parlowen::service
