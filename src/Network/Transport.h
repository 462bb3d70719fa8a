#pragma once

#include <Foundation/LocalTrust.h>
#include <Foundation/Phrase.h>

#include <QJsonObject>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QString>
#include <QUrl>
#include <optional>

/// What every request needs, whoever sends it: its URL, how its host is checked, and its failure in words.
namespace parlowen {

/// The parameters as a URL query: keys in ascending order, percent-encoded; an array as one entry an element, its key
/// with the suffix "[]", a member of an object with its name in brackets; booleans as 1 and 0. Empty for no parameters.
QByteArray encodedQuery(const QJsonObject& params);

/// `path` itself when it is a whole http or https URL, otherwise the base followed by it.
QString fullUrl(const QString& base, const QString& path);

/// The URL to request: the full one with the query appended. None when that is no http or https URL.
std::optional<QUrl> requestUrl(const QString& base, const QString& path, const QByteArray& query);

/// Says in which language the windows speak, for the backend's messages, which are shown as they come. Any thread.
void nameLanguage(QNetworkRequest& request);

/// Keeps a redirection from taking the request to another scheme, host or port: whoever listens there would get its
/// secrets.
void keepAtOrigin(QNetworkRequest& request);

/// Signs the request in with the token, and keeps it at its origin.
void authorize(QNetworkRequest& request, const QString& token);

/// The TLS settings for a request to that URL: a host is checked against the system's authorities, and the one that the
/// local trust covers against its authority as well.
QSslConfiguration sslConfiguration(const LocalTrust& trust, const QUrl& url);

/// Whether the transfer itself failed. A reply that arrived whole with an HTTP error status did not.
bool isTransportFailure(const QNetworkReply& reply);

/// The failed transfer in words.
BilingualText transportErrorDescription(const QNetworkReply& reply);

/// What the alert about a failed transfer says. `online` tells whether this machine has any network at all.
QString transportAlertText(QNetworkReply::NetworkError error, const BilingualText& description, bool online);

/// For a reply that is not the service's: its HTTP status is told.
BilingualText undecodableDescription(const QNetworkReply& reply);

/// Whether packets may leave this machine for anywhere: there is a default route of either kind of address. A bridge of
/// containers is none.
bool isOnline();

/// The same, from what /proc/net/route and /proc/net/ipv6_route say.
bool hasRoute(const QByteArray& ipv4, const QByteArray& ipv6);

} // namespace parlowen
