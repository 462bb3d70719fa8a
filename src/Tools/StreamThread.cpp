#include "StreamThread.h"

#include <QCoreApplication>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <chrono>

namespace parlowen {

namespace {

// Of a connection: after more of it, a router or a change of the network may have ended it without a word.
constexpr std::chrono::seconds longestSilence{30};
constexpr std::chrono::seconds longestOpening{3}; // a question does not wait for what may never be open

/// The usual proxies. The library asks for those of "preconnect-https", which the environment names none for, and would
/// connect past the one that the request itself goes through.
class Proxies final : public QNetworkProxyFactory {
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override {
        QUrl url = query.url();
        url.setScheme(url.scheme().remove(QLatin1String("preconnect-")));
        return proxyForQuery(QNetworkProxyQuery(url));
    }
};

} // namespace

StreamThread::StreamThread()
    : root_(new QObject) {
    thread_.setObjectName("answer-streams");
    queue_.moveToThread(&thread_);
    root_->moveToThread(&thread_);
    QObject::connect(&thread_, &QThread::finished, root_, &QObject::deleteLater);
    thread_.start();
}

StreamThread& StreamThread::shared() {
    static auto* const instance = [] {
        auto* const made = new StreamThread;
        qAddPostRoutine([] { shared().end(); });
        return made;
    }();
    return *instance;
}

void StreamThread::end() {
    queue_.close();
    thread_.quit();
    thread_.wait();
}

// A request offers HTTP/2 as well, and would not take a connection that was opened without.
void StreamThread::prepare(const QUrl& url, QSslConfiguration tls) {
    delete prepared_;
    prepared_ = new QNetworkAccessManager(root_);
    prepared_->setProxyFactory(new Proxies); // which it owns
    usable_.setRemainingTime(longestOpening);
    QObject::connect(prepared_, &QNetworkAccessManager::finished, root_, [this, opened = prepared_](auto* reply) {
        if (opened && opened == prepared_ && reply->error() == QNetworkReply::NoError)
            usable_.setRemainingTime(longestSilence);
    });
    tls.setAllowedNextProtocols({QSslConfiguration::ALPNProtocolHTTP2, QSslConfiguration::NextProtocolHttp1_1});
    const bool isEncrypted = url.scheme() == u"https";
    const auto port = static_cast<quint16>(url.port(isEncrypted ? 443 : 80));
    if (isEncrypted)
        prepared_->connectToHostEncrypted(url.host(), port, tls);
    else
        prepared_->connectToHost(url.host(), port);
}

QNetworkAccessManager& StreamThread::borrowManager() {
    if (isPrepared())
        return *std::exchange(prepared_, nullptr);
    return *new QNetworkAccessManager(root_);
}

} // namespace parlowen
