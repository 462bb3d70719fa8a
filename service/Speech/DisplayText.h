#pragma once

#include <string>
#include <string_view>

namespace parlowen::service {

/// A recogniser's text with the letters of swear words (English, in any case) as asterisks, one for each; all else as
/// it is.
std::string withoutProfanity(std::string_view text);

} // namespace parlowen::service
