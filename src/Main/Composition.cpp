#include "Composition.h"

#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>
#include <Network/ApiBase.h>
#include <Secrets/SecretService.h>
#include <Speech/SpeechEndpoint.h>
#include <Tools/MicroManagement.h>
#include <Tools/PopView/Alert.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/TimerManager.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLibrary>
#include <algorithm>
#include <openssl/crypto.h>
#include <utility>
#include <vector>

namespace parlowen {

namespace {

constexpr int repeatMilliseconds = 60'000;

/// A session without a window runs without anything that draws.
bool hasWindows() { return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr; }

// Later: the microphone is looked at just before the session's window opens, and the text belongs over that.
void showError(const QString& text) {
    if (hasWindows())
        onMain([text] { ProgressHUD::shared().error(text); });
    else
        consoleLog(text);
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

/// Qt's network threads may outlive main's last line by a moment, and need their TLS state for it. The library comes
/// with the first connection as Qt's plug-in brings it, not with the program, whose window does without.
void keepTlsStateAtExit() {
    using Initialise = int (*)(uint64_t, const void*);
    static const auto initialise = reinterpret_cast<Initialise>(
        QLibrary::resolve(QStringLiteral("crypto"), OPENSSL_SHLIB_VERSION, "OPENSSL_init_crypto"));
    if (initialise != nullptr)
        initialise(OPENSSL_INIT_NO_ATEXIT, nullptr);
}

MicroManagement::Hooks microphoneHooks() {
    MicroManagement::Hooks result;
    result.showError = showError;
    return result;
}

} // namespace

void Composition::alertInFront(const Alert& alert) {
    // A page asks for several things at once, which fail in the same words: one alert says so.
    static std::vector<Alert> showing;
    if (std::find(showing.begin(), showing.end(), alert) != showing.end())
        return;
    showing.push_back(alert);
    showAlert(alert.title, alert.text, alert.icon, iconOf(alert.style));
    std::erase(showing, alert);
}

std::function<void(const Alert&)> Composition::alertInPassing() {
    // What is asked for again and again fails in the same words each time.
    return [last = Alert(), since = QElapsedTimer()](const Alert& alert) mutable {
        if (alert == last && since.isValid() && !since.hasExpired(repeatMilliseconds))
            return;
        last = alert;
        since.start();
        ProgressHUD::shared().error(alert.title);
    };
}

Composition::Composition(Settings& settings, const QString& givenBackend)
    : settings_(settings)
    , backend_(givenBackend, settings.fuwuqiKey())
    , http_(settings, {}, requestHooks()) {
    settings.useBackend(backend_.address(), !backend_.isGiven());
    HttpDatas::install(&http_);
    MicroManagement::setHooks(microphoneHooks());
}

HttpDatas::Hooks Composition::requestHooks() {
    HttpDatas::Hooks result;
    result.showAlert = [this](const Alert& alert) {
        if (hooks_.problem && !alert.title.isEmpty())
            hooks_.problem(alert.title);
        Alert worded = alert;
        if (worded.title.isEmpty())
            worded.title = QCoreApplication::translate("Composition", "服务器的回复无法识别，请稍后再试");
        if (hooks_.alert)
            hooks_.alert(worded);
    };
    result.forcedSignOut = [this] {
        if (hooks_.forcedSignOut)
            hooks_.forcedSignOut();
    };
    return result;
}

std::unique_ptr<SecretKeeper> Composition::secretKeeper() { return SecretService::ofThisDesktop(); }

void Composition::connectBackend(QObject* context, Backend::Found found) {
    keepTlsStateAtExit();
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
    images_.setLocalTrust(trust_);
    SpeechEndpoint::setLocalTrust(trust_);
    http_.setHeld(false);
}

SessionServices Composition::sessionServices(CaptureSourceFactory capture, AudioRouting& router, SessionStatus& status,
                                             Settings* choices) {
    SessionServices services;
    services.settings = choices != nullptr ? choices : &settings_;
    services.http = &http_;
    services.timer = &TimerManager::shared();
    services.router = &router;
    services.capture = std::move(capture);
    services.streaming = {ApiBase::builtIn(), [this] { return settings_.loginToken(); }, trust_};
    if (hasWindows())
        services.toast = [](const QString& text) { ProgressHUD::shared().toast(text); };
    services.status = &status;
    return services;
}

std::unique_ptr<SessionWindow> Composition::openWindow(std::unique_ptr<AIInterviewDetailController> session) {
    auto window = std::make_unique<SessionWindow>(std::move(session));
    // The session's window is the one that the user sees.
    ProgressHUD::shared().containerView = window.get();
    return window;
}

} // namespace parlowen
