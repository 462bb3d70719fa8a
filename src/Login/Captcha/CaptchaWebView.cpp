#include "CaptchaWebView.h"

#include <QFile>
#include <QQuickWindow>
#include <QTimer>
#include <QWebChannel>
#include <QWebEngineDownloadRequest>
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
#include <QWebEnginePermission>
#endif
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineSettings>
#include <utility>

namespace parlowen {

namespace {

constexpr int loadTimeoutMilliseconds = 60'000;

/// Offers the one message handler; what is posted before the channel stands waits for it.
const char* const handlerScript = R"(
(() => {
    let send = null;
    const waiting = [];
    new QWebChannel(qt.webChannelTransport, channel => {
        send = body => channel.objects.messages.post("captchaHandler", body === undefined ? null : body);
        waiting.splice(0).forEach(send);
    });
    const captchaHandler = { postMessage: body => { send ? send(body) : waiting.push(body); } };
    window.webkit = { messageHandlers: { captchaHandler } };
})();
)";

QString channelScript() {
    QFile file(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

OneOrigin::OneOrigin(QUrl origin)
    : origin_(std::move(origin)) {}

bool OneOrigin::allows(const QUrl& url) const {
    return url.scheme() == origin_.scheme() && url.host() == origin_.host() && url.port() == origin_.port();
}

void OneOrigin::interceptRequest(QWebEngineUrlRequestInfo& info) {
    const bool isInline = info.requestUrl().scheme() == QLatin1String("data") &&
                          info.resourceType() != QWebEngineUrlRequestInfo::ResourceTypeMainFrame &&
                          info.resourceType() != QWebEngineUrlRequestInfo::ResourceTypeSubFrame;
    info.block(!isInline && !allows(info.requestUrl()));
}

ScriptMessages::ScriptMessages(CaptchaModule::Hooks hooks)
    : hooks_(std::move(hooks)) {}

// Later: the receiver may close the window whose page is still in this call.
void ScriptMessages::post(const QString& handler, const QJsonValue& body) {
    QMetaObject::invokeMethod(
        this, [this, handler, body] { hooks_.message(handler, body); }, Qt::QueuedConnection);
}

CaptchaWebPage::CaptchaWebPage(QWebEngineProfile* profile, const OneOrigin& origin)
    : QWebEnginePage(profile)
    , origin_(origin) {}

bool CaptchaWebPage::acceptNavigationRequest(const QUrl& url, NavigationType, bool) { return origin_.allows(url); }

CaptchaWebView::CaptchaWebView(const QUrl& page, const CaptchaModule::Hooks& hooks)
    : origin_(page)
    , messages_(hooks)
    , page_(&profile_, origin_) {
    setContextMenuPolicy(Qt::NoContextMenu);
    setAcceptDrops(false);
    limitProfile();
    profile_.setHttpAcceptLanguage(hooks.languages);
    limitPage();
    offerMessageHandler();
    setPage(&page_);
    connect(&page_, &QWebEnginePage::loadFinished, this,
            [this, hooks](bool well) { hooks.finished(page_.url(), well); });
    QTimer::singleShot(loadTimeoutMilliseconds, &page_, [this] {
        if (page_.isLoading())
            page_.triggerAction(QWebEnginePage::Stop);
    });
    page_.load(page);
}

// The view must let go of its page before that goes.
CaptchaWebView::~CaptchaWebView() { setPage(nullptr); }

void CaptchaWebView::limitProfile() {
    profile_.setUrlRequestInterceptor(&origin_);
    profile_.setSpellCheckEnabled(false);
    connect(&profile_, &QWebEngineProfile::downloadRequested, this,
            [](QWebEngineDownloadRequest* download) { download->cancel(); });
}

void CaptchaWebView::limitPage() {
    using Settings = QWebEngineSettings;
    for (const Settings::WebAttribute off :
         {Settings::JavascriptCanOpenWindows, Settings::JavascriptCanAccessClipboard, Settings::JavascriptCanPaste,
          Settings::LocalStorageEnabled, Settings::LocalContentCanAccessFileUrls, Settings::PluginsEnabled,
          Settings::PdfViewerEnabled, Settings::FullScreenSupportEnabled, Settings::ScreenCaptureEnabled,
          Settings::WebGLEnabled, Settings::HyperlinkAuditingEnabled, Settings::DnsPrefetchEnabled,
          Settings::AllowGeolocationOnInsecureOrigins, Settings::AllowRunningInsecureContent,
          Settings::NavigateOnDropEnabled, Settings::ErrorPageEnabled})
        page_.settings()->setAttribute(off, off == Settings::ErrorPageEnabled);
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    connect(&page_, &QWebEnginePage::permissionRequested, &page_,
            [](const QWebEnginePermission& permission) { permission.deny(); });
#else
    connect(&page_, &QWebEnginePage::featurePermissionRequested, &page_,
            [this](const QUrl& origin, QWebEnginePage::Feature feature) {
                page_.setFeaturePermission(origin, feature, QWebEnginePage::PermissionDeniedByUser);
            });
#endif
}

void CaptchaWebView::offerMessageHandler() {
    auto* channel = new QWebChannel(&page_);
    channel->registerObject(QStringLiteral("messages"), &messages_);
    page_.setWebChannel(channel);
    QWebEngineScript script;
    script.setInjectionPoint(QWebEngineScript::DocumentCreation);
    script.setWorldId(QWebEngineScript::MainWorld);
    script.setRunsOnSubFrames(false);
    script.setSourceCode(channelScript() + QLatin1String(handlerScript));
    page_.scripts().insert(script);
}

QWidget* CaptchaWebModule::makeWebView(const QUrl& page, Hooks hooks) {
    // Drawn without the graphics card: a page of this size needs none, and its drivers would be loaded for it alone.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    return new CaptchaWebView(page, hooks);
}

} // namespace parlowen

#include "moc_CaptchaWebView.cpp"
