#pragma once

#include <QByteArray>
#include <QString>

namespace parlowen {

/// Whether that host, as QUrl::host() gives it, is this machine for certain: "localhost", "::1" or an address of
/// 127.0.0.0/8 in its usual form. A name that somebody's resolver decides about ("localhost.", "127.0.0.1.example.com")
/// is not, nor is an IPv4 address that is mapped into IPv6.
bool isLoopbackHost(const QString& host);

/// A certificate authority that is trusted for one loopback host alone: that of the service which this machine runs for
/// itself.
struct LocalTrust {
    QString host;                    ///< the one host, such as "127.0.0.1"; any that is no loopback host trusts nothing
    QByteArray certificateAuthority; ///< the authority's certificate, PEM

    /// Whether connections to `otherHost` are checked against this authority.
    bool covers(const QString& otherHost) const;
    bool operator==(const LocalTrust&) const = default;
};

} // namespace parlowen
