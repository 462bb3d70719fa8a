#pragma once

#include "Answers/AnswerSource.h"

#include <nlohmann/json.hpp>

namespace parlowen::service {

/// How much of the earlier exchanges a prompt holds, in tokens as they are estimated: one for a Chinese character, one
/// for four others.
inline constexpr std::size_t earlierTokens = 900;

/// The messages of a chat completion that a question is asked with: one of the system with all instructions, and one of
/// the user that is a JSON object of nothing but data. Nothing in the data can be taken for the end of it.
nlohmann::json chatMessages(const Question& question);

/// The messages as people read them.
std::string promptText(const nlohmann::json& messages);

} // namespace parlowen::service
