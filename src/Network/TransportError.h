#pragma once

#include <QNetworkReply>
#include <QString>

namespace parlowen {

/// Whether the transfer itself failed. A reply that arrived whole with an HTTP error status did not.
bool isTransportFailure(const QNetworkReply& reply);

/// The failed transfer in words.
QString transportErrorDescription(QNetworkReply::NetworkError error, const QString& libraryText);

/// What the alert about a failed transfer says. `online` tells whether this machine has any network at all.
QString transportAlertText(QNetworkReply::NetworkError error, const QString& description, bool online);

/// Whether a network interface other than the loopback one is up with an address.
bool isOnline();

} // namespace parlowen
