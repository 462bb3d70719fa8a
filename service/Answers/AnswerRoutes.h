#pragma once

#include "AnswerSource.h"
#include "Http/Router.h"

#include <functional>

namespace parlowen::service {

/// Adds what is known of the sign-in token's user to a question: the account, the résumé's lines that bear on it, what
/// was asked before. What it blocks for it does on the workers, or on threads of its own where that takes long. Both
/// outlive its run.
using QuestionFiller = std::function<boost::asio::awaitable<void>(std::string_view token, Question&,
                                                                  const boost::asio::any_io_executor& workers)>;

/// The answer stream: lines of `data: {"data":{"content":"…"}}`, each followed by an empty one, the last content "@@".
/// Before that one may stand a comment, `: grounds ["…"]`, with the lines of the résumé that the answer leans on, and
/// `: failed` before what stands in the place of an answer, or of its rest.
/// `source` outlives the server. Without `fill` questions stay as they are sent.
void addAnswerRoutes(Router& router, AnswerSource& source, Guard signedInOnly, QuestionFiller fill = {});

} // namespace parlowen::service
