#include "ChineseOrder.h"

#include <stdexcept>

namespace parlowen::service {

namespace {

void require(UErrorCode status, const char* what) {
    if (U_FAILURE(status))
        throw std::runtime_error(std::string("ICU has no ") + what + ": " + u_errorName(status));
}

} // namespace

ChineseOrder::ChineseOrder() {
    UErrorCode status = U_ZERO_ERROR;
    pinyin_.reset(icu::Transliterator::createInstance("Han-Latin; Latin-ASCII; Upper", UTRANS_FORWARD, status));
    require(status, "transliteration of Chinese");
    order_.reset(icu::Collator::createInstance(icu::Locale::getChina(), status));
    require(status, "Chinese order");
}

std::string ChineseOrder::firstLetter(const std::string& name) const {
    auto letters = icu::UnicodeString::fromUTF8(name);
    pinyin_->transliterate(letters);
    const char16_t first = letters.isEmpty() ? u'#' : letters.charAt(0);
    return first >= u'A' && first <= u'Z' ? std::string(1, static_cast<char>(first)) : "#";
}

bool ChineseOrder::less(const std::string& left, const std::string& right) const {
    UErrorCode failed = U_ZERO_ERROR;
    return order_->compareUTF8(left, right, failed) == UCOL_LESS;
}

} // namespace parlowen::service
