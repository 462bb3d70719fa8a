#pragma once

#include "AnswerSource.h"
#include "Http/Router.h"

namespace parlowen::service {

/// The answer stream: lines of `data: {"data":{"content":"…"}}`, each followed by an empty one, the last content "@@".
/// `source` outlives the server.
void addAnswerRoutes(Router& router, AnswerSource& source, Guard signedInOnly);

} // namespace parlowen::service
