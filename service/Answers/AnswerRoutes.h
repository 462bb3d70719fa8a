#pragma once

#include "AnswerSource.h"
#include "Http/Router.h"

#include <functional>

namespace parlowen::service {

/// The lines of the résumé of a sign-in token's user that bear on a question, verbatim. Called on a worker thread.
using QuoteSource = std::function<std::vector<std::string>(std::string_view token, std::string_view question)>;

/// The answer stream: lines of `data: {"data":{"content":"…"}}`, each followed by an empty one, the last content "@@".
/// `source` outlives the server. Without `quotes` no question has any.
void addAnswerRoutes(Router& router, AnswerSource& source, Guard signedInOnly, QuoteSource quotes = {});

} // namespace parlowen::service
