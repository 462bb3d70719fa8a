#pragma once

#include "CommandLine.h"
#include "Composition.h"
#include "LiveSession.h"
#include "SessionShortcuts.h"
#include "SessionSignIn.h"
#include "TrayIcon.h"
#include "ViewController.h"
#include "WindowMenu.h"

#include <Foundation/UserDefaults.h>
#include <Login/LoginViewController.h>

#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <memory>

namespace parlowen {

/// The program as its windows: decides between the sign-in and the main window, opens the interviews that are started
/// there, and stays behind in the tray when they are closed. It works on the stored settings. Main thread only.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    /// `finished` is called once, when the program is to end, with its exit status.
    AppDelegate(const CommandLine& line, std::function<void(int)> finished);
    ~AppDelegate() override;

    /// Opens the window that the stored sign-in asks for, and finds the backend.
    void applicationDidFinishLaunching();
    /// Brings the window to the front; makes a main window where there is none.
    void showMainWindow();
    /// The program is called once more: where none of its windows is to be seen, the window is brought back.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);
    /// Comes to the front and does what a command line asks of the windows, as soon as somebody is signed in. False
    /// when the program is about to end.
    bool carryOut(const CommandLine& line);
    /// Ends an interview in order, then the program.
    void quit();
    /// Ends an interview in order, and returns once its services have stopped.
    void endSession();

    /// The sign-in or the main window, shown or closed; null before the start.
    QMainWindow* window() const { return window_; }
    /// What the main window shows; null while nobody is signed in.
    ViewController* mainView() const;
    LiveSession* session() const { return session_; }
    const QString& backendAddress() { return composition_.backend().address(); }
    TrayIcon& tray() { return tray_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    PageContext context();
    LoginServices loginServices();
    TrayIcon::Actions trayActions();
    SessionShortcuts::Hooks shortcutHooks();
    void keepWindow(QMainWindow* window);
    void openMainWindow();
    void openLogin();
    QWidget* makeMainView();
    void raise();
    void doPending();
    void startInterview();
    void rehearse();
    void openRehearsal();
    SessionWindow* takeSession(LiveSession* session);
    void findBackend();
    void sayThatThereIsNoBackend(const QString& why);
    void enterLocally(const LoginServices::Entered& entered);
    void quitUnlessInterviewed();
    void windowIsClosed();
    void askWhetherToStay();

    std::function<void(int)> finished_;
    UserDefaults defaults_;
    Settings settings_{defaults_, Composition::secretKeeper()};
    Composition composition_;
    std::unique_ptr<SessionSignIn> signIn_;
    CommandLine pending_; ///< what waits for somebody to be signed in
    QPointer<QMainWindow> window_;
    QPointer<LiveSession> session_;
    WindowMenu menu_;
    TrayIcon tray_;
    QPointer<CommonTipView> noBackendCard_;
    bool isPainted_ = false; ///< a window has been, for the first time
    SessionShortcuts shortcuts_;
    bool isQuitting_ = false;
};

} // namespace parlowen
