#pragma once

#include <cstdint>
#include <string_view>

namespace parlowen::recogniser {

/// How long a pause must last before the words so far are a finished utterance, in samples.
namespace utterance_wait {
inline constexpr std::int64_t question = 16'000 * 5 / 10;    ///< after a finished question; no wait is shorter
inline constexpr std::int64_t statement = 16'000 * 7 / 10;   ///< after any other sentence that may be finished
inline constexpr std::int64_t unfinished = 16'000 * 12 / 10; ///< inside a sentence that clearly goes on; none is longer
} // namespace utterance_wait

/// Chosen by the words: a question mark ends a question; no full stop, or a last word that calls for another one
/// ("and", "the", "because"), goes on.
std::int64_t waitAfter(std::string_view text);

} // namespace parlowen::recogniser
