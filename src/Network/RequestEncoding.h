#pragma once

#include <QJsonObject>
#include <QUrl>
#include <optional>

namespace parlowen {

/// The parameters as a URL query: keys in ascending order, percent-encoded; an array as one entry an element, its key
/// with the suffix "[]", a member of an object with its name in brackets; booleans as 1 and 0. Empty for no parameters.
QByteArray encodedQuery(const QJsonObject& params);

/// `path` itself when it is a whole http or https URL, otherwise the base followed by it.
QString fullUrl(const QString& base, const QString& path);

/// The URL to request: the full one with the query appended. None when that is no http or https URL.
std::optional<QUrl> requestUrl(const QString& base, const QString& path, const QByteArray& query);

} // namespace parlowen
