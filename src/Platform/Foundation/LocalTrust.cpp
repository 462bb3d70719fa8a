#include "LocalTrust.h"

#include <QRegularExpression>

namespace parlowen {

bool isLoopbackHost(const QString& host) {
    static const QRegularExpression ipv4(QRegularExpression::anchoredPattern(
        QStringLiteral("127(\\.(0|[1-9][0-9]?|1[0-9][0-9]|2[0-4][0-9]|25[0-5])){3}")));
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 || host == QLatin1String("::1") ||
           ipv4.match(host).hasMatch();
}

bool LocalTrust::covers(const QString& otherHost) const {
    return !certificateAuthority.isEmpty() && isLoopbackHost(otherHost) &&
           otherHost.compare(host, Qt::CaseInsensitive) == 0;
}

} // namespace parlowen
