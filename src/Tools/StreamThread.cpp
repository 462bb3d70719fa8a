#include "StreamThread.h"

#include <QCoreApplication>
#include <QNetworkReply>

namespace parlowen {

namespace {

constexpr std::size_t idleManagers = 2;

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

QNetworkAccessManager* StreamThread::makeManager() {
    auto* const manager = new QNetworkAccessManager(root_);
    // Nobody holds the replies that stand for prepared connections.
    QObject::connect(manager, &QNetworkAccessManager::finished, root_, [this, manager](QNetworkReply* reply) {
        if (!reply->url().scheme().startsWith(u"preconnect"))
            return;
        reply->deleteLater();
        if (preparing_ == manager)
            preparing_ = nullptr;
    });
    return manager;
}

// A request offers HTTP/2 as well, and would not take a connection that was opened without.
void StreamThread::prepare(const QUrl& url, QSslConfiguration tls) {
    tls.setAllowedNextProtocols({QSslConfiguration::ALPNProtocolHTTP2, QSslConfiguration::NextProtocolHttp1_1});
    if (idle_.empty())
        idle_.push_back(makeManager());
    if (preparing_ == idle_.back())
        return;
    preparing_ = idle_.back();
    const bool isEncrypted = url.scheme() == u"https";
    const auto port = static_cast<quint16>(url.port(isEncrypted ? 443 : 80));
    if (isEncrypted)
        idle_.back()->connectToHostEncrypted(url.host(), port, tls);
    else
        idle_.back()->connectToHost(url.host(), port);
}

QNetworkAccessManager& StreamThread::borrowManager() {
    if (idle_.empty())
        return *makeManager();
    QNetworkAccessManager& manager = *idle_.back();
    idle_.pop_back();
    return manager;
}

void StreamThread::giveBack(QNetworkAccessManager& manager) {
    if (idle_.size() < idleManagers)
        idle_.push_front(&manager);
    else
        manager.deleteLater();
}

} // namespace parlowen
