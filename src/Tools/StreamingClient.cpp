#include "StreamingClient.h"

#include "StreamThread.h"

#include <Foundation/Bundle.h>
#include <Foundation/ConsoleLog.h>
#include <Network/Transport.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <utility>

namespace parlowen {

StreamingClient::StreamingClient(std::shared_ptr<StreamModel> model, StreamingEnvironment environment)
    : model_(std::move(model))
    , environment_(std::move(environment)) {}

StreamingClient::~StreamingClient() = default;

std::shared_ptr<StreamingClient> StreamingClient::make(std::shared_ptr<StreamModel> model,
                                                       StreamingEnvironment environment) {
    return std::shared_ptr<StreamingClient>(new StreamingClient(std::move(model), std::move(environment)));
}

void StreamingClient::start() {
    const std::optional<QNetworkRequest> prepared = request();
    if (prepared && !isCancelled_)
        StreamThread::shared().post([self = shared_from_this(), prepared] { self->open(*prepared); });
}

void StreamingClient::cancel() {
    isCancelled_ = true;
    StreamThread::shared().post([self = shared_from_this()] {
        if (self->reply_)
            self->reply_->abort();
    });
}

bool StreamingClient::isCancelled() const { return isCancelled_; }

const std::shared_ptr<StreamModel>& StreamingClient::model() const { return model_; }

std::optional<QNetworkRequest> StreamingClient::request() const {
    const std::optional<QUrl> url = requestUrl(environment_.baseUrl, "/ai/meeting", {});
    if (!url)
        return std::nullopt;
    QNetworkRequest request(*url);
    request.setRawHeader("Version", Bundle::shortVersion().toUtf8());
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("platform", "4");
    request.setRawHeader("lan", "zh-Hans");
    const std::optional<QString> token = environment_.loginToken ? environment_.loginToken() : std::nullopt;
    if (token)
        request.setRawHeader("Authorization", "Bearer " + token->toUtf8());
    request.setTransferTimeout(static_cast<int>(environment_.timeout.count()));
    request.setSslConfiguration(sslConfiguration(environment_.trust, *url));
    return request;
}

QByteArray StreamingClient::body() const {
    const QJsonObject members{{"type", model_->type},
                              {"txt", model_->txt},
                              {"prompt", model_->role},
                              {"original_language", model_->original_language},
                              {"trans_language", model_->trans_language}};
    return QJsonDocument(members).toJson(QJsonDocument::Compact);
}

void StreamingClient::open(const QNetworkRequest& request) {
    reply_ = StreamThread::shared().borrowManager().post(request, body());
    // The connections keep the client until the reply is destroyed.
    QObject::connect(reply_, &QNetworkReply::readyRead, [self = shared_from_this()] { self->receive(); });
    QObject::connect(reply_, &QNetworkReply::finished, [self = shared_from_this()] { self->finish(); });
}

void StreamingClient::receive() {
    for (const QString& piece : parser_.feed(reply_->readAll())) {
        if (isCancelled_)
            return;
        model_->append(piece);
    }
}

void StreamingClient::finish() {
    if (isTransportFailure(*reply_)) {
        const QString description = transportErrorDescription(reply_->error(), reply_->errorString());
        consoleLog("❌ 流式连接错误：" + (isCancelled_ ? QStringLiteral("已取消") : description));
    } else {
        consoleLog("✅ 流式连接结束");
    }
    model_->complete();
    StreamThread::shared().giveBack(*reply_->manager());
    reply_->deleteLater();
    reply_.clear();
}

} // namespace parlowen
