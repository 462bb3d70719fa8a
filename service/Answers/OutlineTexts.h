#pragma once

#include "QuestionKind.h"

#include <array>
#include <string_view>

namespace parlowen::service {

struct OutlinePoint {
    std::string_view brief;
    std::string_view detail;
};

/// The texts of an outline for one kind of question; "{role}" stands for the candidate's position.
struct OutlineText {
    QuestionKind kind;
    std::string_view title;
    std::string_view opening; ///< a first sentence to complete
    std::array<OutlinePoint, 3> points;
    std::string_view caution;
};

const OutlineText& outlineText(QuestionKind kind, bool inChinese);

} // namespace parlowen::service
