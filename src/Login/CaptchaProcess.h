#pragma once

#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <optional>

namespace parlowen {

/// The captcha's window, in a process of its own: the program itself, started once more. So the web engine, with the
/// processes that it keeps, is there while a captcha is open and no longer. It goes with this object, as it does when
/// the program ends in whatever way. Main thread only.
class CaptchaProcess : public QObject {
    Q_OBJECT
public:
    /// Opens the window; `command` is how this program is started for the page.
    CaptchaProcess(const QStringList& command, QObject* parent);
    ~CaptchaProcess() override;

    std::function<void(const QString& validate)> onValidateReceived; ///< the captcha's result
    std::function<void()> onClosed;  ///< the window is gone, with or without a result; may delete this object
    std::function<void()> onFailure; ///< before that: the process could not be started, or has crashed

    /// Brings the window to the front.
    void raise();

    static QStringList commandFor(const QUrl& page);

    // The other process.

    /// The captcha's page, when these are the arguments of such a process.
    static std::optional<QUrl> pageOf(int argc, char** argv);
    /// Shows the page until its window is closed, by the user, by a result or because the other process has gone.
    /// Returns the process's exit status. Instead of an application of one's own.
    static int host(const QUrl& page, int argc, char** argv);

private:
    void read();
    void ended(bool well);

    QProcess process_;
    bool hasEnded_ = false;
    bool hasDelivered_ = false; ///< a result: what goes wrong afterwards is nobody's concern
};

} // namespace parlowen
