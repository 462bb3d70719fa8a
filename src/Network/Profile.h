#pragma once

#include "Models.h"

#include <functional>

class QObject;

namespace parlowen {

class HttpDatas;
class Settings;

/// Asks the backend for the signed-in user's profile and stores it, then calls `stored`. Any answer without a profile
/// changes nothing. Neither happens once the context is gone. On the context's thread; settings must outlive it.
void refreshProfile(HttpDatas& http, Settings& settings, QObject* context,
                    std::function<void(const UserBaseModel&)> stored);

/// The file name of the résumé that the stored profile holds; empty without one.
QString heldResume(const Settings& settings);

} // namespace parlowen
