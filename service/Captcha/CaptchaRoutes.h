#pragma once

#include "Captchas.h"
#include "Http/Router.h"

namespace parlowen::service {

/// The captcha's page and what it asks for, at the root of a plain HTTP server of its own. The page posts
/// {"type":"success","data":{"validate":RESULT}} to the message handler "captchaHandler". By what names and from which
/// pages it may be asked is the server's to say. `captchas` outlives the server.
void addCaptchaRoutes(Router& router, Captchas& captchas);

} // namespace parlowen::service
