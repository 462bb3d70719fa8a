#pragma once

#include "Alert.h"
#include "JSON.h"

#include <Foundation/LocalTrust.h>

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <functional>
#include <optional>
#include <vector>

class QNetworkReply;

namespace parlowen {

class Settings;

/// How a request came out: the reply's code was 0; it was another one; there was no reply that could be read.
enum class FResponseStatus { success, unusual, failure };

enum class HttpMethod { GET, POST, PUT };

/// The one way to the backend's JSON API. It knows the base URL, the headers and the sign-in token, shows every failure
/// and every complaint of the backend to the user, and signs the user out when the backend answers with HTTP status
/// 401. Lives on the main thread.
class HttpDatas : public QObject {
    Q_OBJECT

public:
    /// Called on the main thread; each may be empty.
    struct Hooks {
        std::function<void(const Alert&)> showAlert;
        /// Opens the sign-in window and closes all others; the settings are cleared by then.
        std::function<void()> forcedSignOut;
    };

    /// Settings must outlive it.
    HttpDatas(Settings& settings, LocalTrust trust, Hooks hooks);
    ~HttpDatas() override;

    /// The instance that the composition installed; there must be one.
    static HttpDatas& shared();
    /// The composition keeps the instance; destroying it takes it away again.
    static void install(HttpDatas* instance);

    /// The status; the whole reply unless it failed; the backend's message when unusual, what went wrong when failed.
    using Completion = std::function<void(FResponseStatus, std::optional<JSON>, std::optional<QString>)>;

    /// Sends a request and returns at once. Any thread.
    /// `path` starts with "/" and is appended to the base URL, or is a whole http or https URL.
    /// `params` become the query of a GET and the JSON body of every other method.
    /// `timeout` is in seconds (30 when absent) and bounds each wait in which nothing arrives.
    /// The completion is called at most once, on the main thread; never after a reply with HTTP status 401.
    void requestData(const QString& path, HttpMethod method, const std::optional<QJsonObject>& params,
                     std::optional<int> timeout, Completion completion);

    /// The same for a caller that may go before the reply comes: the completion falls silent with the context (what the
    /// user is to be shown is still shown). On the context's thread.
    void requestData(const QString& path, HttpMethod method, const std::optional<QJsonObject>& params,
                     std::optional<int> timeout, QObject* context, Completion completion);

    /// What is trusted from the next request on. Main thread.
    void setLocalTrust(LocalTrust trust);
    const LocalTrust& localTrust() const { return trust_; }

    /// Keeps the requests that are made from now on until it is let go, and sends them then, as of that moment: the
    /// backend is not known yet. Main thread.
    void setHeld(bool held);
    bool isHeld() const { return isHeld_; }

    /// The base URL of requests from now on: that of the settings, else the built-in one.
    QString baseUrl() const;

    /// Shows a modal alert through the hook. Main thread.
    void showAlert(const Alert& alert) const;

private:
    struct Prepared;
    Prepared prepare(const QString& path, HttpMethod method, const std::optional<QJsonObject>& params,
                     std::optional<int> timeout) const;
    void send(const Prepared& prepared, Completion completion);
    void handleFinished(QNetworkReply& reply, const Completion& completion);
    bool isOfThisSignIn(const QNetworkRequest& sent) const;
    void handleReply(int httpStatus, const JSON& body, const Completion& completion);
    void handleFailure(const char* kind, const QString& description, const QString& alertText,
                       const Completion& completion);
    void showAlertSoon(const QString& title);

    Settings& settings_;
    LocalTrust trust_;
    const Hooks hooks_;
    QNetworkAccessManager manager_;
    bool isHeld_ = false;
    std::vector<std::function<void()>> held_;
    const QPointer<HttpDatas> self_; // made on the main thread, for use on others
};

} // namespace parlowen
