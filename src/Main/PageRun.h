#pragma once

#include "CommandLine.h"
#include "Composition.h"
#include "LiveSession.h"
#include "PageWindow.h"
#include "SessionSignIn.h"

#include <Foundation/UserDefaults.h>
#include <Login/LoginViewController.h>

#include <QPointer>
#include <functional>
#include <memory>

namespace parlowen {

/// The program as one page in a plain window: finds or starts the backend, signs in, shows the page, and opens the
/// interviews that are started there. It works on the stored settings. Main thread only.
class PageRun : public QObject {
    Q_OBJECT
public:
    /// `finished` is called once, with the exit status, when the window is closed.
    PageRun(const CommandLine& line, std::function<void(int)> finished);
    ~PageRun() override;

    void begin();
    /// Ends an interview in order, then the program.
    void interrupt();

    PageWindow& window() { return window_; }
    LiveSession* session() const { return session_; }

private:
    PageContext context();
    void connectBackend();
    void signIn(const LocalTrust& trust);
    void openLogin(const LocalTrust& trust);
    void enterLocally(const LocalTrust& trust, const LoginServices::Entered& entered);
    QWidget* makeMainView();
    void useHooks(std::function<void(const Alert&)> alert);
    SessionWindow* makeSession(const SessionSound& sound);

    const QString page_;
    std::function<void(int)> finished_;
    UserDefaults defaults_;
    Settings settings_{defaults_, Composition::secretKeeper()};
    Composition composition_;
    std::unique_ptr<SessionSignIn> signIn_;
    PageWindow window_;
    QMainWindow* login_ = nullptr; ///< the sign-in window, also once it has turned into the main one
    QPointer<LiveSession> session_;
};

} // namespace parlowen
