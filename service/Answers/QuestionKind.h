#pragma once

#include <string_view>

namespace parlowen::service {

enum class QuestionKind {
    Introduction,
    Motivation,
    Strength,
    Weakness,
    Behavioural,
    Technical,
    Plans,
    Salary,
    Closing,
    General, ///< nothing in the question tells
};

/// What kind of interview question an English or Chinese text (UTF-8) is, by the words in it.
QuestionKind questionKind(std::string_view question);

} // namespace parlowen::service
