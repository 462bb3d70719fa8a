#include "LocalService.h"

#include <Foundation/Bundle.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/Phrase.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QStandardPaths>
#include <QUrl>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

constexpr int startUpMilliseconds = 30'000;
constexpr int joinMilliseconds = 5'000;
constexpr int addressInUse = 3; // the service's exit status, as the next one
constexpr int directoryInUse = 4;
constexpr int mostLooks = 50; // for the port of a service that is starting, too
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
const QString loopback = QStringLiteral("127.0.0.1");

} // namespace

LocalService::LocalService(Place place, QObject* parent)
    : QObject(parent)
    , place_(std::move(place)) {
    patience_.setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, &LocalService::outOfPatience);
    restart_.setSingleShot(true);
    connect(&restart_, &QTimer::timeout, this, [this] { launch(port_); });
    connect(&process_, &QProcess::readyReadStandardOutput, this, &LocalService::readOutput);
    connect(&process_, &QProcess::readyReadStandardError, this,
            [this] { errors_ = (errors_ + process_.readAllStandardError()).right(keptErrorBytes); });
    connect(&process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        if (started_) {
            finish(failure(cannotStart.here(process_.errorString())));
            return;
        }
        consoleLog(QStringLiteral("❌ ") + cannotStart.in(Language::Chinese, process_.errorString()));
        restartAfterPause();
    });
    connect(&process_, &QProcess::finished, this, &LocalService::ended);
    connect(&other_, &QSslSocket::encrypted, this, &LocalService::joined);
    connect(&other_, &QSslSocket::sslErrors, this, &LocalService::tellOfStranger); // its certificate is another's
    connect(&other_, &QSslSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        if (error == QAbstractSocket::SslHandshakeFailedError && !isJoined_)
            tellOfStranger(); // it speaks something else
    });
    connect(&other_, &QSslSocket::stateChanged, this, [this](QAbstractSocket::SocketState state) {
        if (state == QAbstractSocket::UnconnectedState)
            otherIsGone();
    });
}

LocalService::~LocalService() {
    other_.disconnect(this);
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
        finish(failure(notFound.here()));
        return;
    }
    launch(place_.preferredPort);
}

void LocalService::launch(quint16 port) {
    port_ = port;
    patience_.start(startUpMilliseconds);
    output_.clear();
    errors_.clear();
    process_.start(place_.program, {QStringLiteral("--listen"), QStringLiteral("%1:%2").arg(loopback).arg(port),
                                    QStringLiteral("--data"), place_.dataDirectory, QStringLiteral("--exit-with-stdin"),
                                    QStringLiteral("--create-accounts"),
                                    // Whatever the file says: it is entered without a number, too.
                                    QStringLiteral("--login-method"), QStringLiteral("password")});
}

void LocalService::outOfPatience() {
    if (other_.state() != QAbstractSocket::UnconnectedState) {
        tellOfStranger();
        other_.abort();
    } else if (started_) {
        finish(failure(notReady.here(lastWords())));
    } else {
        process_.kill(); // and then it is started again
    }
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
    patience_.stop();
    if (started_) {
        finish(access());
        return;
    }
    consoleLog(QStringLiteral("✅ 本地服务已重新运行：%1").arg(url));
    tellServing(true);
}

void LocalService::ended(int exitCode, QProcess::ExitStatus exit) {
    const bool killed = exit == QProcess::CrashExit;
    const Phrase& how = killed ? wasKilled : hasEnded;
    const QString status = QString::number(exitCode), words = lastWords();
    if (!killed && exitCode == addressInUse && port_ != 0) {
        joinOther();
    } else if (!killed && exitCode == directoryInUse && started_ && looks_++ < mostLooks) {
        QTimer::singleShot(firstPauseMilliseconds, this, &LocalService::joinElsewhere);
    } else if (started_) {
        finish(failure(how.here(status, words)));
    } else {
        consoleLog(QStringLiteral("❌ ") + how.in(Language::Chinese, status, words));
        restartAfterPause();
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

void LocalService::tellServing(bool serves) {
    if (std::exchange(serves_, serves) != serves && told_)
        told_(serves);
}

// The port is taken: by a service that this user runs already, which its certificate shows, or by somebody else.
void LocalService::joinOther() {
    const LocalTrust trust = access().trust;
    if (!trust.covers(loopback)) {
        if (port_ != 0) // else another program is starting this user's first one
            tellOfStranger();
        otherIsGone();
        return;
    }
    patience_.start(joinMilliseconds);
    QSslConfiguration ownAuthorityAlone = QSslConfiguration::defaultConfiguration();
    ownAuthorityAlone.setCaCertificates(QSslCertificate::fromData(trust.certificateAuthority, QSsl::Pem));
    other_.setSslConfiguration(ownAuthorityAlone);
    other_.connectToHostEncrypted(loopback, port_);
}

// This user's service has been kept from the usual port by somebody else, and notes which one it took instead.
void LocalService::joinElsewhere() {
    QFile note(place_.dataDirectory + QStringLiteral("/port"));
    port_ = note.open(QIODevice::ReadOnly) ? note.readAll().trimmed().toUShort() : 0;
    joinOther();
}

void LocalService::joined() {
    patience_.stop();
    isJoined_ = true;
    serving_.start();
    if (started_)
        finish(access());
    else
        tellServing(true);
}

// A service ends connections that are idle for long; whether it has gone itself, the next one shows.
void LocalService::otherIsGone() {
    patience_.stop();
    if (std::exchange(isJoined_, false))
        QTimer::singleShot(firstPauseMilliseconds, this, &LocalService::joinOther);
    else if (started_)
        launch(0);
    else
        restartAfterPause();
}

void LocalService::tellOfStranger() {
    const auto told = std::exchange(toldOfStranger_, nullptr);
    if (!told)
        return;
    consoleLog(QStringLiteral(
                   "⚠️ 端口 %1 被占用，占用者没有证明是您的服务；没有向它发送任何内容")
                   .arg(port_));
    told(port_);
}

LocalService::Access LocalService::access() const {
    return {QStringLiteral("https://%1:%2/api/v1").arg(loopback).arg(port_), trustFor(loopback, place_.dataDirectory)};
}

void LocalService::finish(const Result<Access>& result) {
    patience_.stop();
    isWanted_ = result.has_value();
    if (const Started started = std::exchange(started_, nullptr))
        started(result);
}

QString LocalService::lastWords() const { return QString::fromUtf8(errors_).trimmed(); }

LocalService::Place LocalService::ownPlace() {
    return {findProgram(), defaultDataDirectory(), static_cast<quint16>(QUrl(Bundle::builtInApiBaseUrl()).port())};
}

QString LocalService::findProgram() {
    const QString name = QStringLiteral("parlowen-service");
    const QString beside = QCoreApplication::applicationDirPath() + u'/' + name;
    return QFileInfo(beside).isExecutable() ? beside : QStandardPaths::findExecutable(name);
}

QString LocalService::defaultDataDirectory() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/parlowen-service");
}

LocalTrust LocalService::trustFor(const QString& host, const QString& dataDirectory) {
    if (!isLoopbackHost(host))
        return {};
    QFile authority(dataDirectory + QStringLiteral("/tls/ca.pem"));
    if (!authority.open(QIODevice::ReadOnly))
        return {};
    return {host, authority.readAll()};
}

} // namespace parlowen
