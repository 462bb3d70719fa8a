#include "TransportError.h"

#include <QNetworkInterface>
#include <algorithm>

namespace parlowen {

namespace {

/// The library reports HTTP error statuses as errors of these kinds.
bool isStatusError(QNetworkReply::NetworkError error) {
    return (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError) ||
           error == QNetworkReply::ProtocolInvalidOperationError ||
           (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError);
}

bool isTimeout(QNetworkReply::NetworkError error) {
    // A transfer that ran out of time is cancelled by the library; nobody else cancels one.
    return error == QNetworkReply::TimeoutError || error == QNetworkReply::OperationCanceledError;
}

} // namespace

bool isTransportFailure(const QNetworkReply& reply) {
    if (reply.error() == QNetworkReply::NoError)
        return false;
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status < 400 || !isStatusError(reply.error());
}

QString transportErrorDescription(QNetworkReply::NetworkError error, const QString& libraryText) {
    return isTimeout(error) ? QStringLiteral("请求超时") : libraryText;
}

QString transportAlertText(QNetworkReply::NetworkError error, const QString& description, bool online) {
    if (isTimeout(error))
        return QStringLiteral("请求超时，请重试");
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("无法连接到服务器，请稍后再试");
    case QNetworkReply::UnknownNetworkError: // no route to the host or to its network
        return online ? QStringLiteral("无法连接到服务器，请稍后再试")
                      : QStringLiteral("网络未连接，请检查你的网络设置");
    case QNetworkReply::HostNotFoundError:
        if (online)
            break;
        [[fallthrough]];
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return QStringLiteral("网络未连接，请检查你的网络设置");
    default:
        break;
    }
    return QStringLiteral("请求失败：") + description;
}

bool isOnline() {
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    return std::any_of(interfaces.begin(), interfaces.end(), [](const QNetworkInterface& interface) {
        const QNetworkInterface::InterfaceFlags flags = interface.flags();
        return flags.testFlag(QNetworkInterface::IsRunning) && !flags.testFlag(QNetworkInterface::IsLoopBack) &&
               !interface.addressEntries().isEmpty();
    });
}

} // namespace parlowen
