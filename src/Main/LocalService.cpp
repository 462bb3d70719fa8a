#include "LocalService.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/Phrase.h>
#include <Network/TrustedTls.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QStandardPaths>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr int startMilliseconds = 30'000;
constexpr int probeMilliseconds = 5'000;
constexpr int addressInUse = 3; // the service's exit status
constexpr int keptErrorBytes = 4096;
constexpr int firstPauseMilliseconds = 100; // before a restart; doubles each time in a row
constexpr int longestPauseMilliseconds = 10'000;
constexpr int steadyMilliseconds = 60'000; // a service that has run for so long starts counting anew
constexpr Phrase notReady{"the local service did not get ready in time. %1", "本地服务没有及时就绪。%1"};
constexpr Phrase cannotStart{"the local service cannot be started: %1", "无法启动本地服务：%1"};
constexpr Phrase notFound{"parlowen-service is neither beside the application nor on the search path",
                          "找不到 parlowen-service：它既不在程序旁边，也不在搜索路径中"};
constexpr Phrase wasKilled{"the local service was killed by signal %1. %2", "本地服务被信号 %1 终止。%2"};
constexpr Phrase hasEnded{"the local service ended with status %1. %2", "本地服务已退出，状态 %1。%2"};

const char* const readyPrefix = "listening on ";

} // namespace

LocalService::LocalService(Place place, QObject* parent)
    : QObject(parent)
    , place_(std::move(place)) {
    patience_.setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, [this] {
        if (started_)
            finish(std::nullopt, notReady.here(lastWords()));
        else
            process_.kill(); // and then it is started again
    });
    restart_.setSingleShot(true);
    connect(&restart_, &QTimer::timeout, this, [this] { launch(port_); });
    connect(&process_, &QProcess::readyReadStandardOutput, this, &LocalService::readOutput);
    connect(&process_, &QProcess::readyReadStandardError, this,
            [this] { errors_ = (errors_ + process_.readAllStandardError()).right(keptErrorBytes); });
    connect(&process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        if (started_)
            finish(std::nullopt, cannotStart.here(process_.errorString()));
        else
            restartAfterPause();
    });
    connect(&process_, &QProcess::finished, this, &LocalService::ended);
}

LocalService::~LocalService() {
    process_.disconnect(this);
    if (process_.state() == QProcess::NotRunning)
        return;
    process_.closeWriteChannel();
    if (!process_.waitForFinished(5'000)) {
        process_.kill();
        process_.waitForFinished(1'000);
    }
}

void LocalService::start(Started started) {
    started_ = std::move(started);
    if (place_.program.isEmpty()) {
        finish(std::nullopt, notFound.here());
        return;
    }
    launch(place_.preferredPort);
}

void LocalService::launch(quint16 port) {
    port_ = port;
    patience_.start(startMilliseconds);
    output_.clear();
    errors_.clear();
    process_.start(place_.program,
                   {QStringLiteral("--listen"), QStringLiteral("127.0.0.1:%1").arg(port), QStringLiteral("--data"),
                    place_.dataDirectory, QStringLiteral("--exit-with-stdin")});
}

void LocalService::readOutput() {
    output_ += process_.readAllStandardOutput();
    const qsizetype end = output_.indexOf('\n');
    if (end < 0 || !output_.startsWith(readyPrefix))
        return;
    const QString url =
        QString::fromUtf8(output_.mid(qstrlen(readyPrefix), end - qsizetype(qstrlen(readyPrefix)))).trimmed();
    output_.clear();
    port_ = static_cast<quint16>(QUrl(url).port());
    serving_.start();
    if (!started_) {
        patience_.stop();
        consoleLog(QStringLiteral("✅ 本地服务已重新运行：%1").arg(url));
        tellServing(true);
        return;
    }
    finish(Access{url + QStringLiteral("/api/v1"), trustFor(QStringLiteral("127.0.0.1"), place_.dataDirectory)}, {});
}

void LocalService::ended(int exitCode, QProcess::ExitStatus exit) {
    const bool killed = exit == QProcess::CrashExit;
    const Phrase& how = killed ? wasKilled : hasEnded;
    const QString status = QString::number(exitCode), words = lastWords();
    if (!started_ && !killed && exitCode == addressInUse) {
        // Somebody else started it meanwhile, or has taken its place: its clients will see.
        patience_.stop();
        tellServing(true);
    } else if (!started_) {
        consoleLog(QStringLiteral("❌ ") + how.in(Language::Chinese, status, words));
        restartAfterPause();
    } else if (!killed && exitCode == addressInUse && port_ != 0) {
        probeExisting();
    } else {
        finish(std::nullopt, how.here(status, words));
    }
}

// On the same port, which its clients know.
void LocalService::restartAfterPause() {
    patience_.stop();
    if (!isWanted_)
        return; // it never got ready, and its owner knows
    if (serving_.isValid() && serving_.hasExpired(steadyMilliseconds))
        restarts_ = 0;
    serving_.invalidate();
    restart_.start(std::min(firstPauseMilliseconds << std::min(restarts_++, 10), longestPauseMilliseconds));
    tellServing(false);
}

void LocalService::revive() {
    const bool isTried = restart_.isActive() || process_.state() != QProcess::NotRunning ||
                         (revived_.isValid() && !revived_.hasExpired(longestPauseMilliseconds));
    if (!isWanted_ || isTried)
        return;
    revived_.start();
    tellServing(false);
    launch(port_);
}

void LocalService::tellServing(bool serves) {
    if (std::exchange(serves_, serves) != serves && told_)
        told_(serves);
}

// The port is taken: by a service that this user runs already, which its certificate shows, or by somebody else.
void LocalService::probeExisting() {
    const QString baseUrl = QStringLiteral("https://127.0.0.1:%1/api/v1").arg(port_);
    const LocalTrust trust = trustFor(QStringLiteral("127.0.0.1"), place_.dataDirectory);
    const QUrl url(baseUrl + QStringLiteral("/operation/version"));
    if (!trust.covers(url.host())) {
        launch(0);
        return;
    }
    if (probe_ == nullptr)
        probe_ = new QNetworkAccessManager(this);
    QNetworkRequest request(url);
    request.setSslConfiguration(sslConfiguration(trust, url));
    request.setTransferTimeout(probeMilliseconds);
    QNetworkReply* reply = probe_->get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply, baseUrl, trust] {
        reply->deleteLater();
        if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid())
            finish(Access{baseUrl, trust}, {});
        else
            launch(0);
    });
}

void LocalService::finish(const std::optional<Access>& access, const QString& problem) {
    patience_.stop();
    isWanted_ = access.has_value();
    if (const Started started = std::exchange(started_, nullptr))
        started(access, problem);
}

QString LocalService::lastWords() const { return QString::fromUtf8(errors_).trimmed(); }

QString LocalService::findProgram() {
    const QString name = QStringLiteral("parlowen-service");
    const QString beside = QCoreApplication::applicationDirPath() + u'/' + name;
    return QFileInfo(beside).isExecutable() ? beside : QStandardPaths::findExecutable(name);
}

QString LocalService::defaultDataDirectory() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/parlowen-service");
}

LocalTrust LocalService::trustFor(const QString& host, const QString& dataDirectory) {
    QFile authority(dataDirectory + QStringLiteral("/tls/ca.pem"));
    if (!authority.open(QIODevice::ReadOnly))
        return {};
    return {host, authority.readAll()};
}

} // namespace parlowen
