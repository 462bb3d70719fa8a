#pragma once

#include <QString>
#include <QUrl>

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

    /// The captcha's page of the backend with that base URL: that of the build where it has one, else in plain HTTP on
    /// the backend's host, at the port after the backend's, or at HTTP's own where the backend is at that of its
    /// scheme.
    static QUrl captchaPage(const QString& baseUrl);
};

} // namespace parlowen
