#pragma once

#include <QString>

/// What the program knows of itself: its version and the services that it was built for.
namespace parlowen::Bundle {

/// The short version, such as "0.1.0"; one place (CMakeLists.txt) sets it. Never empty.
QString shortVersion();

/// The backend's API base URL that this program was built with (HTTPS, path /api/v1, no slash at the end).
QString builtInApiBaseUrl();

/// The base URL of the service that takes uploaded files, as this program was built (no slash at the end).
QString builtInFileServiceUrl();

/// The captcha's page, where this program was built with one (plain HTTP, path /); else empty.
QString captchaUrlOfBuild();

} // namespace parlowen::Bundle
