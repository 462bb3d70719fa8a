#pragma once

#include <Foundation/LocalTrust.h>
#include <Foundation/Result.h>

#include <QHash>
#include <QImage>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>
#include <utility>
#include <vector>

class QNetworkReply;

namespace parlowen {

/// Loads pictures from the web, and keeps what it has loaded on the disk for as long as their servers allow. Main
/// thread only.
class ImageLoader : public QObject {
public:
    /// The picture, or why there is none in words for the user.
    using Loaded = std::function<void(const Result<QImage>&)>;

    /// The cache never takes more than `cacheBytes`.
    explicit ImageLoader(const QString& cacheDirectory = defaultCacheDirectory(),
                         qint64 cacheBytes = defaultCacheBytes);

    /// What is trusted from the next request on.
    void setLocalTrust(LocalTrust trust);

    /// Loads the picture of an http or https URL; those who wait for the same one share a request. `loaded` is called
    /// later and once, unless the context is gone by then.
    void load(const QUrl& url, QObject* context, Loaded loaded);

    /// parlowen/images in the user's cache directory (XDG).
    static QString defaultCacheDirectory();
    static constexpr qint64 defaultCacheBytes = 50'000'000;

private:
    void openCache();
    void finished(const QUrl& url, QNetworkReply& reply);
    void tell(const QUrl& url, const Result<QImage>& result);

    QString cacheDirectory_;
    qint64 cacheBytes_;
    LocalTrust trust_;
    QHash<QUrl, std::vector<std::pair<QPointer<QObject>, Loaded>>> waiting_;
    QNetworkAccessManager manager_;
};

} // namespace parlowen
