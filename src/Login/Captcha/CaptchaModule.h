#pragma once

#include <Foundation/Result.h>

#include <QJsonValue>
#include <QUrl>
#include <QtPlugin>
#include <functional>

class QWidget;

namespace parlowen {

/// The web engine as the captcha needs it, behind a plug-in: the program itself is not linked with the engine, and
/// works without it. Main thread only.
class CaptchaModule {
public:
    struct Hooks {
        /// What the page is asked to speak, as in the header Accept-Language.
        QString languages = QStringLiteral("zh-CN,zh;q=0.9");
        /// The page posted a message to the script message handler of that name.
        std::function<void(const QString& handler, const QJsonValue& body)> message;
        /// The page, or what the engine shows in its place, has been loaded; the URL may be empty.
        std::function<void(const QUrl& url, bool well)> finished;
    };

    virtual ~CaptchaModule() = default;

    /// A view that loads the page and never leaves its host: no other request, no window, no download, nothing kept.
    /// The page finds `window.webkit.messageHandlers.captchaHandler.postMessage`. The caller owns the view; with the
    /// last one the engine's pages are gone.
    virtual QWidget* makeWebView(const QUrl& page, Hooks hooks) = 0;

    /// Loads the plug-in, or says to the user which package is missing. The plug-in stays loaded.
    static Result<CaptchaModule*> load(const QString& file = pluginFile());
    /// Where the plug-in lies, beside the program, as built and as installed.
    static QString pluginFile();
};

} // namespace parlowen

Q_DECLARE_INTERFACE(parlowen::CaptchaModule, "parlowen.CaptchaModule/1")
