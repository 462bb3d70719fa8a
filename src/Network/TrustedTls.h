#pragma once

#include <Foundation/LocalTrust.h>

#include <QSslConfiguration>
#include <QUrl>

namespace parlowen {

/// The TLS settings for a request to that URL: the host that the local trust covers is checked against its authority
/// alone, every other host against the system's.
QSslConfiguration sslConfiguration(const LocalTrust& trust, const QUrl& url);

} // namespace parlowen
