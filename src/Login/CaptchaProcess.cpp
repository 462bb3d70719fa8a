#include "CaptchaProcess.h"

#include "CaptchaViewController.h"

#include <Foundation/ChosenLanguage.h>
#include <Foundation/ConsoleLog.h>
#include <Tools/PopView/Factories.h>
#include <Tools/PopView/Translation.h>

#include <QApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <array>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace parlowen {

namespace {

const char* const hostOption = "--captcha";
constexpr qint64 longestLine = qint64{64} * 1024; // bytes
constexpr int endMilliseconds = 2000;

void tell(const char* what, const QString& text) {
    const QByteArray line = QJsonDocument(QJsonObject{{QLatin1String(what), text}}).toJson(QJsonDocument::Compact);
    std::fprintf(stdout, "%s\n", line.constData());
    std::fflush(stdout);
}

/// A byte asks for the window to be raised; the end says that the other process has gone.
void heed(QWidget& window) {
    std::array<char, 64> bytes{};
    if (::read(STDIN_FILENO, bytes.data(), bytes.size()) <= 0) {
        window.close();
        return;
    }
    window.raise();
    window.activateWindow();
}

} // namespace

CaptchaProcess::CaptchaProcess(const QStringList& command, QObject* parent)
    : QObject(parent) {
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(&process_, &QProcess::readyReadStandardOutput, this, &CaptchaProcess::read);
    connect(&process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            ended(false);
    });
    connect(&process_, &QProcess::finished, this,
            [this](int status, QProcess::ExitStatus exit) { ended(exit == QProcess::NormalExit && status == 0); });
    process_.start(command.value(0), command.mid(1));
}

// Its input ends, which it heeds; what still hangs then is killed.
CaptchaProcess::~CaptchaProcess() {
    process_.disconnect(this);
    if (process_.state() == QProcess::NotRunning)
        return;
    process_.closeWriteChannel();
    process_.waitForFinished(endMilliseconds);
}

void CaptchaProcess::raise() { process_.write("r"); }

// The page is not ours: a line of any other shape is nothing.
void CaptchaProcess::read() {
    const QPointer<CaptchaProcess> self(this); // the receiver may take it away
    while (self && process_.canReadLine()) {
        const QJsonObject line = QJsonDocument::fromJson(process_.readLine(longestLine)).object();
        if (line[u"log"].isString())
            consoleLog(line[u"log"].toString());
        if (!line[u"validate"].isString())
            continue;
        hasDelivered_ = true;
        if (onValidateReceived)
            onValidateReceived(line[u"validate"].toString());
    }
}

void CaptchaProcess::ended(bool well) {
    if (std::exchange(hasEnded_, true))
        return;
    const QPointer<CaptchaProcess> self(this);
    if (!well && !hasDelivered_ && onFailure)
        onFailure();
    if (self && onClosed)
        onClosed();
}

QStringList CaptchaProcess::commandFor(const QUrl& page) {
    return {QCoreApplication::applicationFilePath(), QLatin1String(hostOption), page.toString(QUrl::FullyEncoded),
            languageCode(windowLanguage())};
}

std::optional<QUrl> CaptchaProcess::pageOf(int argc, char** argv) {
    if (argc != 4 || QLatin1String(argv[1]) != QLatin1String(hostOption))
        return std::nullopt;
    return QUrl(QString::fromUtf8(argv[2]), QUrl::StrictMode);
}

int CaptchaProcess::host(const QUrl& page, int argc, char** argv) {
    QLoggingCategory::setFilterRules(QStringLiteral("qt.webenginecontext*=false")); // how it will draw, at length
    // The engine wants it, though it draws without the graphics card.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    const QApplication application(argc, argv);
    chooseLanguage(languageOfCode(QString::fromUtf8(argv[3])));
    translateWindows();
    QApplication::setWindowIcon(namedImage(QStringLiteral("logo")));
    QCoreApplication::setApplicationName(QStringLiteral("Parlowen"));
    const ConsoleLogCapture log([](const QString& line) { tell("log", line); });
    CaptchaViewController* content = CaptchaViewController::open(page);
    content->onValidateReceived = [](const QString& validate) { tell("validate", validate); };
    const QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, content, [content] { heed(*content->window()); });
    return QApplication::exec();
}

} // namespace parlowen

#include "moc_CaptchaProcess.cpp"
