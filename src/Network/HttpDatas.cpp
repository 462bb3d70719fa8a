#include "HttpDatas.h"

#include "ApiBase.h"
#include "Settings.h"
#include "Transport.h"

#include <Foundation/Bundle.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>

#include <QJsonDocument>
#include <QMetaEnum>
#include <QNetworkReply>
#include <utility>

namespace parlowen {

namespace {

constexpr int defaultTimeoutSeconds = 30;
constexpr double alertDelaySeconds = 0.25;
constexpr int unauthorized = 401;

QPointer<HttpDatas>& installed() {
    static QPointer<HttpDatas> instance;
    return instance;
}

QByteArray jsonText(const QJsonObject& params) { return QJsonDocument(params).toJson(QJsonDocument::Compact); }

} // namespace

struct HttpDatas::Prepared {
    std::optional<QNetworkRequest> request; // none: its URL is no URL
    HttpMethod method;
    QByteArray body;
};

HttpDatas::HttpDatas(Settings& settings, LocalTrust trust, Hooks hooks)
    : settings_(settings)
    , trust_(std::move(trust))
    , hooks_(std::move(hooks))
    , self_(this) {}

HttpDatas::~HttpDatas() = default;

HttpDatas& HttpDatas::shared() {
    Q_ASSERT(installed());
    return *installed();
}

void HttpDatas::install(HttpDatas* instance) { installed() = instance; }

void HttpDatas::setLocalTrust(LocalTrust trust) {
    if (trust == trust_)
        return;
    trust_ = std::move(trust);
    // A connection to the same host would go on as it was made. What is on its way is never answered then.
    manager_.clearConnectionCache();
}

void HttpDatas::setHeld(bool held) {
    isHeld_ = held;
    if (held)
        return;
    for (const auto& request : std::exchange(held_, {}))
        request();
}

QString HttpDatas::baseUrl() const { return settings_.fuwuqiKey().value_or(ApiBase::builtIn()); }

void HttpDatas::requestData(const QString& path, HttpMethod method, const std::optional<QJsonObject>& params,
                            std::optional<int> timeout, Completion completion) {
    if (isHeld_ && isMainThread()) {
        held_.emplace_back(
            [=, this, completion = std::move(completion)] { requestData(path, method, params, timeout, completion); });
        return;
    }
    const Prepared prepared = prepare(path, method, params, timeout);
    if (isMainThread()) {
        send(prepared, std::move(completion));
        return;
    }
    onMain(self_, [self = self_, prepared, completion = std::move(completion)] { self->send(prepared, completion); });
}

void HttpDatas::requestData(const QString& path, HttpMethod method, const std::optional<QJsonObject>& params,
                            std::optional<int> timeout, QObject* context, Completion completion) {
    requestData(path, method, params, timeout,
                [context = QPointer<QObject>(context), completion = std::move(completion)](
                    FResponseStatus status, const std::optional<JSON>& json, const std::optional<QString>& message) {
                    if (context && completion)
                        completion(status, json, message);
                });
}

HttpDatas::Prepared HttpDatas::prepare(const QString& path, HttpMethod method, const std::optional<QJsonObject>& params,
                                       std::optional<int> timeout) const {
    const QString base = baseUrl();
    const QByteArray query = method == HttpMethod::GET ? encodedQuery(params.value_or(QJsonObject())) : QByteArray();
    const std::optional<QUrl> url = requestUrl(base, path, query);
    consoleLog("🚀🚀🚀🚀🚀🚀url:" + fullUrl(base, path));
    consoleLog("params:" + JSON::parse(jsonText(params.value_or(QJsonObject()))).withoutSecrets().rawString());
    if (!url)
        return {std::nullopt, method, {}};

    QNetworkRequest request(*url);
    request.setRawHeader("Version", Bundle::shortVersion().toUtf8());
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("platform", "macOS");
    request.setRawHeader("lan", "zh-Hans");
    request.setRawHeader("Device", settings_.deviceOf(url->toString()));
    nameLanguage(request);
    keepAtOrigin(request); // a password in its body as well as a token
    if (const std::optional<QString> token = settings_.loginToken())
        authorize(request, *token);
    request.setTransferTimeout(timeout.value_or(defaultTimeoutSeconds) * 1000);
    return {request, method, method == HttpMethod::GET || !params ? QByteArray() : jsonText(*params)};
}

void HttpDatas::send(const Prepared& prepared, Completion completion) {
    if (!prepared.request) {
        // Later, as every other outcome: the caller has not returned yet.
        onMain(self_, [this, completion = std::move(completion)] {
            handleFailure("InvalidUrl", QStringLiteral("请求地址无效"), {}, completion);
        });
        return;
    }
    QNetworkRequest request = *prepared.request;
    request.setSslConfiguration(sslConfiguration(trust_, request.url()));
    QNetworkReply* reply = nullptr;
    if (prepared.method == HttpMethod::GET)
        reply = manager_.get(request);
    else if (prepared.method == HttpMethod::POST)
        reply = manager_.post(request, prepared.body);
    else
        reply = manager_.put(request, prepared.body);
    connect(reply, &QNetworkReply::finished, this, [this, reply, completion = std::move(completion)] {
        reply->deleteLater();
        handleFinished(*reply, completion);
    });
}

void HttpDatas::handleFinished(QNetworkReply& reply, const Completion& completion) {
    if (isTransportFailure(reply)) {
        const char* name = QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(reply.error());
        const BilingualText description = transportErrorDescription(reply);
        handleFailure(name, description.here(), transportAlertText(reply.error(), description, isOnline()), completion);
        return;
    }
    const int httpStatus = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (httpStatus == unauthorized && !isOfThisSignIn(reply.request())) {
        consoleLog("请求所用的登录已经不再使用");
        return;
    }
    if (const JSON body = JSON::parse(reply.readAll()); body.exists())
        handleReply(httpStatus, body, completion);
    else
        handleFailure("UndecodableReply", undecodableDescription(reply).here(), {}, completion);
}

/// What an earlier sign-in asked for, and was refused late, says nothing about this one.
bool HttpDatas::isOfThisSignIn(const QNetworkRequest& sent) const {
    QNetworkRequest now;
    if (const std::optional<QString> token = settings_.loginToken())
        authorize(now, *token);
    return sent.rawHeader("Authorization") == now.rawHeader("Authorization");
}

void HttpDatas::handleReply(int httpStatus, const JSON& body, const Completion& completion) {
    consoleLog("🍺🍺🍺🍺🍺🍺result:" + body.withoutSecrets().prettyString());
    if (httpStatus == unauthorized) {
        settings_.clearRejectedSignIn();
        if (hooks_.forcedSignOut)
            hooks_.forcedSignOut();
        return;
    }
    if (body["code"].intValue() == 0) {
        if (completion)
            completion(FResponseStatus::success, body, std::nullopt);
        return;
    }
    const QString message = body["message"].stringValue();
    if (completion)
        completion(FResponseStatus::unusual, body, message);
    if (!message.isEmpty())
        showAlertSoon(message);
}

void HttpDatas::handleFailure(const char* kind, const QString& description, const QString& alertText,
                              const Completion& completion) {
    consoleLog(QString("请求错误: %1: %2").arg(kind, description));
    if (completion)
        completion(FResponseStatus::failure, std::nullopt, description);
    showAlertSoon(alertText);
}

void HttpDatas::showAlertSoon(const QString& title) {
    afterDelay(alertDelaySeconds, self_, [this, title] {
        showAlert({title, QString(), QStringLiteral("logo"), AlertStyle::warning});
    });
}

void HttpDatas::showAlert(const Alert& alert) const {
    if (hooks_.showAlert)
        hooks_.showAlert(alert);
}

} // namespace parlowen

#include "moc_HttpDatas.cpp"
