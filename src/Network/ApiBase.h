#pragma once

#include <QString>

namespace parlowen {

/// The backend's API base URL, without a slash at its end. Any thread.
struct ApiBase {
    /// What setBuiltIn gave last; before that the environment variable PARLOWEN_API_BASE_URL as it was at the first
    /// call; where it is unset or empty, the URL that the program was built with.
    static QString builtIn();
    static void setBuiltIn(const QString& url);
};

} // namespace parlowen
