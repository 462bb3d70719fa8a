#pragma once

#include "Accounts/Accounts.h"
#include "Http/Router.h"
#include "Resumes.h"

namespace parlowen::service {

/// The upload credential, the upload in the form of the OpenAI files API, and what binds a file to its account.
void addResumeRoutes(Router& router, Accounts& accounts, Resumes& resumes);

} // namespace parlowen::service
