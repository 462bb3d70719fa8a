#pragma once

#include <QString>

namespace parlowen {

/// The backend's API base URL, without a slash at its end. Any thread.
struct ApiBase {
    /// What setBuiltIn gave last; before that the URL of the environment as it was at the first call; where there is
    /// none, the URL that the program was built with.
    static QString builtIn();
    static void setBuiltIn(const QString& url);

    /// The environment variable PARLOWEN_API_BASE_URL; empty when it is unset.
    static QString fromEnvironment();
    /// A base URL as it is used: without blanks around it and slashes at its end.
    static QString trimmed(QString url);
};

} // namespace parlowen
