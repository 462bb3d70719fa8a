#pragma once

#include <QByteArray>
#include <QString>

namespace parlowen {

/// A certificate authority that is trusted for one host alone: that of the service which this machine runs for itself.
struct LocalTrust {
    QString host;                    ///< the one host, such as "127.0.0.1"; empty trusts nothing
    QByteArray certificateAuthority; ///< the authority's certificate, PEM

    /// Whether connections to `otherHost` are checked against this authority.
    bool covers(const QString& otherHost) const;
};

} // namespace parlowen
