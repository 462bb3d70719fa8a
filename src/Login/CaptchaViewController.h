#pragma once

#include <QPointer>
#include <QUrl>
#include <QWidget>
#include <functional>

class QJsonValue;

namespace parlowen {

class CaptchaModule;

/// Hosts the captcha's web page, relays the result that the page posts once the user has solved it, and closes its
/// window. Where there is no web engine it says what to install instead. Main thread only.
class CaptchaViewController : public QWidget {
    Q_OBJECT
public:
    /// Loads the page.
    explicit CaptchaViewController(const QUrl& page, QWidget* parent = nullptr);

    std::function<void(const QString& validate)> onValidateReceived; ///< the captcha's result, as the page gave it

    /// The web page's view; null without a web engine.
    QWidget* webView() const { return webView_; }

    /// The page posted a message to the script message handler of that name. A result of the right shape is passed on
    /// and closes the window; anything else is logged, unless it is for another handler.
    void didReceiveScriptMessage(const QString& handler, const QJsonValue& body);
    void didFinishNavigation(const QUrl& url);

    /// Shows the page in a window of its own.
    static CaptchaViewController* open(const QUrl& page);

private:
    void showWebView(CaptchaModule& module, const QUrl& page);
    void zoom();
    void showProblem(const QString& text);

    QPointer<QWidget> webView_;
};

} // namespace parlowen
