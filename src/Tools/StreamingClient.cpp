#include "StreamingClient.h"

#include "StreamThread.h"

#include <Foundation/Bundle.h>
#include <Foundation/ConsoleLog.h>
#include <Network/Transport.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

using Outcome = AnswerEnd::Outcome;
const QString path = QStringLiteral("/ai/meeting");
constexpr qsizetype longestHead = 4'096;

/// What the backend says to people in an envelope that it sends in place of an answer.
QString messageOf(const QByteArray& reply) {
    return QJsonDocument::fromJson(reply).object().value(QStringLiteral("message")).toString();
}

} // namespace

StreamingClient::StreamingClient(std::shared_ptr<StreamModel> model, StreamingEnvironment environment)
    : model_(std::move(model))
    , environment_(std::move(environment)) {}

StreamingClient::~StreamingClient() = default;

std::shared_ptr<StreamingClient> StreamingClient::make(std::shared_ptr<StreamModel> model,
                                                       StreamingEnvironment environment) {
    return std::shared_ptr<StreamingClient>(new StreamingClient(std::move(model), std::move(environment)));
}

void StreamingClient::prepare(const StreamingEnvironment& environment) {
    const std::optional<QUrl> url = requestUrl(environment.baseUrl, path, {});
    if (url)
        StreamThread::shared().post([url, trust = environment.trust] {
            StreamThread& thread = StreamThread::shared();
            if (!thread.isPrepared()) // each partial sentence asks
                thread.prepare(*url, sslConfiguration(trust, *url));
        });
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
    const std::optional<QUrl> url = requestUrl(environment_.baseUrl, path, {});
    if (!url)
        return std::nullopt;
    QNetworkRequest request(*url);
    request.setRawHeader("Version", Bundle::shortVersion().toUtf8());
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("platform", "4");
    request.setRawHeader("lan", "zh-Hans");
    nameLanguage(request);
    const std::optional<QString> token = environment_.loginToken ? environment_.loginToken() : std::nullopt;
    if (token)
        authorize(request, *token);
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
    const QByteArray bytes = reply_->readAll();
    const auto pieces = parser_.feed(bytes);
    hasFailed_ = parser_.hasFailed();
    head_ += bytes.first(std::min(bytes.size(), longestHead - head_.size()));
    for (const QString& piece : pieces) {
        if (isCancelled_)
            return;
        model_->append(piece);
    }
    if (const QStringList grounds = parser_.takeGrounds(); !grounds.isEmpty() && !isCancelled_)
        model_->ground(grounds);
}

AnswerEnd StreamingClient::end() const {
    if (isCancelled_)
        return {Outcome::Cancelled, AnswerEnd::Cause::None, {}};
    return parser_.hasEnded() ? AnswerEnd{} : endWithoutMark();
}

AnswerEnd StreamingClient::endWithoutMark() const {
    const int status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status >= 400) {
        const QString message = messageOf(head_);
        const QString code = QStringLiteral("HTTP %1").arg(status);
        return {Outcome::Failed,
                status == 401 || status == 403 ? AnswerEnd::Cause::SignInRefused : AnswerEnd::Cause::BackendFailed,
                message.isEmpty() ? code : code + QStringLiteral(": ") + message};
    }
    if (isTransportFailure(*reply_))
        return {Outcome::Failed, status == 0 ? AnswerEnd::Cause::NoConnection : AnswerEnd::Cause::BrokenOff,
                transportErrorDescription(*reply_).here()};
    if (const QString message = messageOf(head_); !message.isEmpty())
        return {Outcome::Failed, AnswerEnd::Cause::BackendFailed, message};
    return {Outcome::Failed, AnswerEnd::Cause::BrokenOff, {}};
}

void StreamingClient::finish() {
    const AnswerEnd ended = end();
    if (ended.outcome == Outcome::Cancelled)
        consoleLog("🗑️ 流式连接已取消");
    else if (isTransportFailure(*reply_))
        consoleLog("❌ 流式连接错误：" + transportErrorDescription(*reply_).chinese);
    else if (ended.outcome == Outcome::Failed)
        consoleLog("❌ 流式连接错误：" + answerFailureText(ended, Language::Chinese));
    else
        consoleLog("✅ 流式连接结束");
    model_->complete(ended);
    StreamThread::shared().giveBack(*reply_->manager());
    reply_->deleteLater();
    reply_.clear();
}

} // namespace parlowen
