#pragma once

#include "CaptchaModule.h"

#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineView>

namespace parlowen {

/// Refuses every request that leaves an origin (scheme, host and port).
class OneOrigin : public QWebEngineUrlRequestInterceptor {
public:
    explicit OneOrigin(QUrl origin);

    bool allows(const QUrl& url) const;
    void interceptRequest(QWebEngineUrlRequestInfo& info) override;

private:
    const QUrl origin_;
};

/// What the page's messages arrive at.
class ScriptMessages : public QObject {
    Q_OBJECT
public:
    explicit ScriptMessages(CaptchaModule::Hooks hooks);

    Q_INVOKABLE void post(const QString& handler, const QJsonValue& body);

private:
    const CaptchaModule::Hooks hooks_;
};

/// A page that stays where it was sent, and asks the user nothing.
class CaptchaWebPage : public QWebEnginePage {
public:
    CaptchaWebPage(QWebEngineProfile* profile, const OneOrigin& origin);

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;
    QWebEnginePage* createWindow(WebWindowType) override { return nullptr; }
    QStringList chooseFiles(FileSelectionMode, const QStringList&, const QStringList&) override { return {}; }
    void javaScriptAlert(const QUrl&, const QString&) override {}
    bool javaScriptConfirm(const QUrl&, const QString&) override { return false; }
    bool javaScriptPrompt(const QUrl&, const QString&, const QString&, QString*) override { return false; }
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString&, int, const QString&) override {}

private:
    const OneOrigin& origin_;
};

class CaptchaWebView : public QWebEngineView {
    Q_OBJECT
public:
    CaptchaWebView(const QUrl& page, const CaptchaModule::Hooks& hooks);
    ~CaptchaWebView() override;

private:
    void limitProfile();
    void limitPage();
    void offerMessageHandler();

    OneOrigin origin_;
    ScriptMessages messages_;
    QWebEngineProfile profile_; ///< off the record
    CaptchaWebPage page_;       ///< goes before its profile
};

/// The plug-in.
class CaptchaWebModule : public QObject, public CaptchaModule {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "parlowen.CaptchaModule/1")
    Q_INTERFACES(parlowen::CaptchaModule)
public:
    QWidget* makeWebView(const QUrl& page, Hooks hooks) override;
};

} // namespace parlowen
