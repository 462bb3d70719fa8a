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
const char* const activationToken = "XDG_ACTIVATION_TOKEN";

} // namespace

SingleInstance::SingleInstance(QString directory)
    : socket_(directory + QStringLiteral("/windows.socket"))
    , lock_(std::make_unique<QLockFile>(directory + QStringLiteral("/windows.lock"))) {
    QDir().mkpath(directory);
    lock_->setStaleLockTime(0); // a program may run for long; a dead one is known by its process
    connect(&server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = server_.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] { receive(socket); });
            receive(socket);
        }
    });
}

// The socket goes before the lock: whoever gets the lock finds none.
SingleInstance::~SingleInstance() { server_.close(); }

SingleInstance::Role SingleInstance::begin(const Launch& launch, int patience) {
    QElapsedTimer waiting;
    waiting.start();
    while (!becomeFirst()) {
        if (handOver(launch))
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

bool SingleInstance::handOver(const Launch& launch) {
    QLocalSocket first;
    first.connectToServer(socket_);
    if (!first.waitForConnected(replyMilliseconds))
        return false;
    QDataStream stream(&first);
    stream << launch.arguments << launch.backend << launch.language << qgetenv(activationToken);
    LaunchAnswer answer;
    do {
        if (!first.waitForReadyRead(replyMilliseconds))
            return false;
        stream.startTransaction();
        stream >> answer.isTaken >> answer.problem;
    } while (!stream.commitTransaction());
    problem_ = answer.problem;
    return answer.isTaken;
}

void SingleInstance::receive(QLocalSocket* socket) {
    QDataStream stream(socket);
    Launch launch;
    QByteArray token;
    stream.startTransaction();
    stream >> launch.arguments >> launch.backend >> launch.language >> token;
    if (!stream.commitTransaction())
        return; // not all of it is there
    if (!token.isEmpty())
        qputenv(activationToken, token); // lets a window come to the front
    const LaunchAnswer answer = onLaunch ? onLaunch(launch) : LaunchAnswer();
    stream << answer.isTaken << answer.problem;
    socket->disconnectFromServer();
}

} // namespace parlowen

#include "moc_SingleInstance.cpp"
