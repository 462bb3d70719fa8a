#pragma once

#include "Models.h"

#include <functional>
#include <optional>
#include <vector>

class QObject;

namespace parlowen {

class HttpDatas;

/// Asks the backend for its languages: `source` 1 those that are recognised, 2 the targets of translation. `received`
/// is called on the main thread with the list in the backend's order, or with none when the request did not succeed;
/// never once the context is gone. On the context's thread.
void requestLanguages(HttpDatas& http, int source, QObject* context,
                      std::function<void(std::optional<std::vector<LanguageListModel>>)> received);

/// The language's name for people who read the windows' language: the backend's own, which is Chinese, or in English
/// windows the one of its key, such as "English (United States)". A key that nobody knows leaves the backend's.
QString languageName(const LanguageListModel& language);

} // namespace parlowen
