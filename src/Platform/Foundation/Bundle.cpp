#include "Bundle.h"

namespace parlowen::Bundle {

QString shortVersion() { return QStringLiteral(PARLOWEN_VERSION); }

QString builtInApiBaseUrl() { return QStringLiteral(PARLOWEN_BUILT_IN_API_BASE_URL); }

QString builtInFileServiceUrl() { return QStringLiteral(PARLOWEN_BUILT_IN_FILE_SERVICE_URL); }

QString captchaUrlOfBuild() { return QStringLiteral(PARLOWEN_BUILT_IN_CAPTCHA_URL); }

} // namespace parlowen::Bundle
