#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::recogniser {

/// What was found in a stream's audio; travels as JSON in a frame of kind `Event`.
struct StreamEvent {
    enum class Kind {
        Start,   ///< somebody speaks, from `from` on
        Partial, ///< the words so far of the utterance; those in the first `settled` bytes stay
        Final,   ///< the whole utterance; the text is empty when nothing was understood
        End,     ///< everything of a finished stream has been told
    };
    Kind kind = Kind::Partial;
    std::string text; ///< as the model spells it, UTF-8
    std::size_t settled = 0;
    std::int64_t from = 0; ///< samples; where the speech begins
    std::int64_t to = 0;   ///< where it ends, so far
};

std::string encode(const StreamEvent& event);
/// None when it is no such event.
std::optional<StreamEvent> decodeStreamEvent(std::string_view json);

} // namespace parlowen::recogniser
