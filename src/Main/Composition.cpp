#include "Composition.h"

#include <Foundation/MainQueue.h>
#include <Network/ApiBase.h>
#include <Speech/SpeechEndpoint.h>
#include <Tools/MicroManagement.h>
#include <Tools/PopView/Alert.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/TimerManager.h>

#include <QElapsedTimer>
#include <utility>

namespace parlowen {

namespace {

constexpr int repeatMilliseconds = 60'000;

// Later: the microphone is looked at just before the session's window opens, and the text belongs over that.
MicroManagement::Hooks microphoneHooks() {
    MicroManagement::Hooks result;
    result.showError = [](const QString& text) { onMain([text] { ProgressHUD::shared().error(text); }); };
    return result;
}

QMessageBox::Icon iconOf(AlertStyle style) {
    switch (style) {
    case AlertStyle::informational:
        return QMessageBox::Information;
    case AlertStyle::critical:
        return QMessageBox::Critical;
    case AlertStyle::warning:
        break;
    }
    return QMessageBox::Warning;
}

} // namespace

void Composition::showModally(const Alert& alert) {
    showAlert(alert.title, alert.text, alert.icon, iconOf(alert.style));
}

Composition::Composition(Settings& settings, const QString& givenBackend)
    : settings_(settings)
    , backend_(givenBackend, settings.fuwuqiKey())
    , http_(settings, {}, requestHooks()) {
    HttpDatas::install(&http_);
    MicroManagement::setHooks(microphoneHooks());
}

HttpDatas::Hooks Composition::requestHooks() {
    HttpDatas::Hooks result;
    // What is asked for again and again fails in the same words each time.
    result.showAlert = [this, last = Alert(), since = QElapsedTimer()](const Alert& alert) mutable {
        if (hooks_.problem && !alert.title.isEmpty())
            hooks_.problem(alert.title);
        if (alert == last && since.isValid() && !since.hasExpired(repeatMilliseconds))
            return;
        last = alert;
        since.start();
        if (hooks_.alert)
            hooks_.alert(alert);
    };
    result.forcedSignOut = [this] {
        if (hooks_.forcedSignOut)
            hooks_.forcedSignOut();
    };
    return result;
}

void Composition::connectBackend(QObject* context, Backend::Found found) {
    backend_.find(context, [this, found = std::move(found)](const Result<Backend::Access>& access) {
        if (access)
            use(*access);
        found(access);
    });
}

void Composition::use(const Backend::Access& access) {
    ApiBase::setBuiltIn(access.baseUrl);
    trust_ = access.trust;
    http_.setLocalTrust(trust_);
    SpeechEndpoint::setLocalTrust(trust_);
}

void Composition::languageList(int source, QObject* context,
                               std::function<void(std::vector<LanguageListModel>)> received) {
    const QJsonObject parameters{{QStringLiteral("source"), source}};
    http_.requestData(QStringLiteral("/language/list"), HttpMethod::GET, parameters, std::nullopt, context,
                      [received = std::move(received)](FResponseStatus, const std::optional<JSON>& json,
                                                       const std::optional<QString>&) {
                          std::vector<LanguageListModel> list;
                          if (json) {
                              for (const JSON& entry : (*json)["data"].arrayValue())
                                  list.push_back(mapAccessors<LanguageListModel>(entry));
                          }
                          received(std::move(list));
                      });
}

std::unique_ptr<SessionWindow> Composition::openSession(CaptureSourceFactory capture, AudioRouting& router,
                                                        SessionStatus& status) {
    SessionServices services;
    services.settings = &settings_;
    services.http = &http_;
    services.timer = &TimerManager::shared();
    services.router = &router;
    services.capture = std::move(capture);
    services.streaming = {ApiBase::builtIn(), [this] { return settings_.loginToken(); }, trust_};
    services.hud = &ProgressHUD::shared();
    services.status = &status;
    auto window = std::make_unique<SessionWindow>(std::move(services));
    // The session's window is the one that the user sees.
    ProgressHUD::shared().containerView = window.get();
    return window;
}

} // namespace parlowen
