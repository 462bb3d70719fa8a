#include "ImageLoader.h"

#include "Transport.h"

#include <Foundation/BackgroundQueue.h>
#include <Foundation/MainQueue.h>

#include <QNetworkDiskCache>
#include <QNetworkReply>
#include <QStandardPaths>
#include <optional>

namespace parlowen {

namespace {

constexpr int timeoutMilliseconds = 30'000;
constexpr qint64 mostBytes = 20'000'000; // of one picture, as it is sent
constexpr int firstErrorStatus = 400;
const char* const tooLarge = "tooLarge";

Result<QImage> decoded(const QByteArray& bytes) {
    QImage image = QImage::fromData(bytes);
    return image.isNull() ? failure(QStringLiteral("图片无法识别")) : Result<QImage>(std::move(image));
}

} // namespace

ImageLoader::ImageLoader(const QString& cacheDirectory, qint64 cacheBytes)
    : cacheDirectory_(cacheDirectory)
    , cacheBytes_(cacheBytes) {}

/// With the first picture: it looks through all that it holds, which no window should wait for.
void ImageLoader::openCache() {
    auto* const cache = new QNetworkDiskCache(&manager_);
    cache->setCacheDirectory(cacheDirectory_);
    cache->setMaximumCacheSize(cacheBytes_);
    manager_.setCache(cache);
}

void ImageLoader::setLocalTrust(LocalTrust trust) {
    if (trust == trust_)
        return;
    trust_ = std::move(trust);
    // A connection to the same host would go on as it was made. What is on its way is never answered then.
    manager_.clearConnectionCache();
}

QString ImageLoader::defaultCacheDirectory() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/parlowen/images");
}

void ImageLoader::load(const QUrl& url, QObject* context, Loaded loaded) {
    auto& waiting = waiting_[url];
    waiting.emplace_back(context, std::move(loaded));
    if (waiting.size() > 1)
        return;
    const std::optional<QUrl> usable = requestUrl({}, url.toString(QUrl::FullyEncoded), {});
    if (!usable) {
        onMain(QPointer<ImageLoader>(this), [this, url] { tell(url, failure(QStringLiteral("图片地址无效"))); });
        return;
    }
    if (manager_.cache() == nullptr)
        openCache();
    QNetworkRequest request(*usable);
    request.setTransferTimeout(timeoutMilliseconds);
    request.setSslConfiguration(sslConfiguration(trust_, *usable));
    QNetworkReply* const reply = manager_.get(request);
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
        if (received <= mostBytes)
            return;
        reply->setProperty(tooLarge, true);
        reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, url, reply] {
        reply->deleteLater();
        finished(url, *reply);
    });
}

void ImageLoader::finished(const QUrl& url, QNetworkReply& reply) {
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    QString problem;
    if (reply.property(tooLarge).toBool())
        problem = QStringLiteral("图片太大");
    else if (status >= firstErrorStatus)
        problem = QStringLiteral("图片无法下载：HTTP %1").arg(status);
    else if (reply.error() != QNetworkReply::NoError)
        problem = QStringLiteral("图片无法下载：") + transportErrorDescription(reply).chinese;
    if (!problem.isEmpty()) {
        tell(url, failure(problem));
        return;
    }
    // A large picture takes a while.
    inBackground([self = QPointer<ImageLoader>(this), url, bytes = reply.readAll()] {
        const Result<QImage> result = decoded(bytes);
        onMain(self, [self, url, result] { self->tell(url, result); });
    });
}

void ImageLoader::tell(const QUrl& url, const Result<QImage>& result) {
    for (const auto& [context, loaded] : waiting_.take(url)) {
        if (context)
            loaded(result);
    }
}

} // namespace parlowen
