#include "SingleInstance.h"

#include <Foundation/ConsoleLog.h>

#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QLockFile>
#include <QThread>
#include <utility>

namespace parlowen {

namespace {

constexpr int replyMilliseconds = 2'000;
constexpr int pauseMilliseconds = 50;
constexpr char taken = 1;
const char* const activationToken = "XDG_ACTIVATION_TOKEN";

} // namespace

SingleInstance::SingleInstance(QString directory)
    : socket_(directory + QStringLiteral("/windows.socket"))
    , lock_(std::make_unique<QLockFile>(directory + QStringLiteral("/windows.lock"))) {
    QDir().mkpath(directory);
    lock_->setStaleLockTime(0); // a program may run for long; a dead one is known by its process
    connect(&server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* launch = server_.nextPendingConnection()) {
            connect(launch, &QLocalSocket::disconnected, launch, &QObject::deleteLater);
            connect(launch, &QLocalSocket::readyRead, this, [this, launch] { receive(launch); });
            receive(launch);
        }
    });
}

// The socket goes before the lock: whoever gets the lock finds none.
SingleInstance::~SingleInstance() { server_.close(); }

SingleInstance::Role SingleInstance::begin(const QStringList& arguments, int patience) {
    QElapsedTimer waiting;
    waiting.start();
    while (!becomeFirst()) {
        if (handOver(arguments))
            return Role::HandedOver;
        if (waiting.hasExpired(patience))
            return Role::Unanswered;
        QThread::msleep(pauseMilliseconds); // it is starting, or about to end
    }
    return Role::First;
}

bool SingleInstance::becomeFirst() {
    if (!lock_->tryLock(0))
        return lock_->error() != QLockFile::LockFailedError;
    QLocalServer::removeServer(socket_);
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_.listen(socket_))
        consoleLog(QStringLiteral("❌ 无法接收再次启动：") + server_.errorString());
    return true;
}

bool SingleInstance::handOver(const QStringList& arguments) const {
    QLocalSocket first;
    first.connectToServer(socket_);
    if (!first.waitForConnected(replyMilliseconds))
        return false;
    QDataStream stream(&first);
    stream << arguments << qgetenv(activationToken);
    char answer = 0;
    return first.waitForReadyRead(replyMilliseconds) && first.getChar(&answer) && answer == taken;
}

void SingleInstance::receive(QLocalSocket* launch) {
    QDataStream stream(launch);
    QStringList arguments;
    QByteArray token;
    stream.startTransaction();
    stream >> arguments >> token;
    if (!stream.commitTransaction())
        return; // not all of it is there
    if (!token.isEmpty())
        qputenv(activationToken, token); // lets a window come to the front
    if (onLaunch && onLaunch(arguments))
        launch->putChar(taken);
    launch->disconnectFromServer();
}

} // namespace parlowen
