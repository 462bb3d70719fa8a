#include "CaptchaViewController.h"

#include <Foundation/ChosenLanguage.h>
#include <Foundation/ConsoleLog.h>
#include <Login/Captcha/CaptchaModule.h>
#include <Tools/PopView/Colors.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/SystemFont.h>

#include <QBoxLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <utility>

namespace parlowen {

namespace {

constexpr QSize captchaSize(400, 400);

QString printed(const QJsonValue& body) {
    const QByteArray list = QJsonDocument(QJsonArray{body}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(list.mid(1, list.size() - 2));
}

} // namespace

CaptchaViewController::CaptchaViewController(const QUrl& page, QWidget* parent)
    : QWidget(parent) {
    setPalette(lightPalette(Qt::white));
    setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    const Result<CaptchaModule*> module = CaptchaModule::load();
    if (module)
        showWebView(**module, page);
    else
        showProblem(module.error());
}

void CaptchaViewController::showWebView(CaptchaModule& module, const QUrl& page) {
    const QPointer<CaptchaViewController> self(this);
    CaptchaModule::Hooks hooks;
    if (windowLanguage() == Language::English)
        hooks.languages = QStringLiteral("en-US,en;q=0.9");
    hooks.message = [self](const QString& handler, const QJsonValue& body) {
        if (self)
            self->didReceiveScriptMessage(handler, body);
    };
    hooks.finished = [self](const QUrl& url, bool well) {
        if (self)
            self->zoom();
        if (self && well)
            self->didFinishNavigation(url);
    };
    webView_ = module.makeWebView(page, hooks);
    zoom();
    layout()->addWidget(webView_);
    setFocusProxy(webView_);
}

/// The page has its texts in one size; the engine forgets it with each page.
void CaptchaViewController::zoom() {
    if (webView_ != nullptr)
        webView_->setProperty("zoomFactor", fontScale());
}

void CaptchaViewController::showProblem(const QString& text) {
    auto* column = static_cast<QVBoxLayout*>(layout());
    column->setContentsMargins(36, 24, 36, 32);
    column->setSpacing(14);
    auto* sign = new QLabel(this);
    sign->setPixmap(namedImage(QStringLiteral("login_lock")).pixmap(QSize(56, 56), devicePixelRatioF()));
    QLabel* heading = makeLabel(hexColor(theme::darkText), true, 16, this);
    heading->setText(tr("无法打开安全验证"));
    QLabel* reason = makeLabel(hexColor(theme::midGrey), false, 14, this);
    reason->setText(text);
    reason->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    column->addStretch();
    for (QLabel* label : {sign, heading, reason}) {
        label->setAlignment(Qt::AlignCenter);
        column->addWidget(label);
    }
    column->addStretch();
    auto* close = makeCardButton(tr("关闭"), hexColor(theme::darkText), hexColor(theme::secondary), this);
    close->setAutoDefault(true);
    connect(close, &QPushButton::clicked, this, [this] { window()->close(); });
    column->addWidget(close, 0, Qt::AlignHCenter);
    setFocusProxy(close);
}

void CaptchaViewController::didReceiveScriptMessage(const QString& handler, const QJsonValue& body) {
    if (handler != QLatin1String("captchaHandler"))
        return;
    const QJsonValue validate = body[u"data"][u"validate"];
    if (body[u"type"] != QJsonValue(QStringLiteral("success")) || !validate.isString()) {
        consoleLog(QStringLiteral("⚠️ 解析失败，数据格式不符合预期: ") + printed(body));
        return;
    }
    const QPointer<CaptchaViewController> self(this);
    if (const auto receive = std::exchange(onValidateReceived, nullptr)) // once, whatever the page still posts
        receive(validate.toString());
    if (self)
        window()->close();
}

void CaptchaViewController::didFinishNavigation(const QUrl& url) {
    zoom();
    consoleLog(QStringLiteral("✅ 页面加载完成: ") + (url.isEmpty() ? QStringLiteral("unknown") : url.toString()));
}

CaptchaViewController* CaptchaViewController::open(const QUrl& page) {
    auto* window = new QMainWindow(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                                Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(tr("安全验证"));
    auto* content = new CaptchaViewController(page);
    window->setCentralWidget(content);
    window->resize((captchaSize * fontScale()).boundedTo(window->screen()->availableSize()));
    window->move(window->screen()->availableGeometry().center() - window->rect().center());
    connect(new QShortcut(Qt::Key_Escape, window), &QShortcut::activated, window, &QWidget::close);
    window->show();
    window->raise();
    window->activateWindow();
    content->setFocus(Qt::OtherFocusReason);
    return content;
}

} // namespace parlowen

#include "moc_CaptchaViewController.cpp"
