#pragma once

#include "Options.h"

#include <iosfwd>

namespace parlowen::service {

/// Writes what the language model would be sent for the options' question. Throws std::runtime_error for a résumé that
/// cannot be read.
void printPrompt(const ServiceOptions& options, std::ostream& output);

/// Asks the language model a question and writes its answer as it comes, then the times of its first piece and of the
/// whole. False when it fails, or when there is none.
bool checkAnswers(const ServiceOptions& options, std::ostream& output);

} // namespace parlowen::service
