#include "LocalTrust.h"

namespace parlowen {

bool LocalTrust::covers(const QString& otherHost) const {
    return !host.isEmpty() && !certificateAuthority.isEmpty() && otherHost.compare(host, Qt::CaseInsensitive) == 0;
}

} // namespace parlowen
