#include "RequestEncoding.h"

#include <QJsonArray>

namespace parlowen {

namespace {

void addEntry(QByteArrayList& entries, const QString& key, const QJsonValue& value) {
    if (value.isArray()) {
        for (const QJsonValue element : value.toArray())
            addEntry(entries, key + "[]", element);
    } else if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto member = object.begin(); member != object.end(); ++member)
            addEntry(entries, QString("%1[%2]").arg(key, member.key()), member.value());
    } else {
        const QString text = value.isBool() ? QString::number(int(value.toBool())) : value.toVariant().toString();
        entries << QUrl::toPercentEncoding(key) + '=' + QUrl::toPercentEncoding(text);
    }
}

} // namespace

QByteArray encodedQuery(const QJsonObject& params) {
    QByteArrayList entries;
    for (auto member = params.begin(); member != params.end(); ++member) // the object keeps its keys sorted
        addEntry(entries, member.key(), member.value());
    return entries.join('&');
}

QString fullUrl(const QString& base, const QString& path) {
    const bool whole = path.startsWith("http://") || path.startsWith("https://");
    return whole ? path : base + path;
}

std::optional<QUrl> requestUrl(const QString& base, const QString& path, const QByteArray& query) {
    QString text = fullUrl(base, path);
    if (!query.isEmpty())
        text += (text.contains('?') ? '&' : '?') + QString::fromLatin1(query);
    const QUrl url(text);
    const bool usable = url.isValid() && !url.host().isEmpty() && (url.scheme() == "http" || url.scheme() == "https");
    return usable ? std::optional(url) : std::nullopt;
}

} // namespace parlowen
