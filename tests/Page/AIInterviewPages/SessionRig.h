#pragma once

#include <Foundation/UserDefaults.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Page/AIInterviewPages/SessionWindow.h>
#include <Page/View/MeasuredList.h>
#include <Tools/AudioRouting.h>
#include <Tools/PopView/ProgressHUD.h>
#include <Tools/SessionStatus.h>
#include <Tools/TimerManager.h>

#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <chrono>
#include <gmock/gmock.h>
#include <memory>
#include <support/CapturedLog.h>
#include <support/ScriptedHttpServer.h>
#include <support/ScriptedSpeechServer.h>
#include <support/WaitFor.h>

namespace parlowen {

/// Counts what it is asked for.
struct CountingRouter : AudioRouting {
    int restored = 0;
    void setupSystemAudio() override {}
    void switchInput(bool) override {}
    void restoreDevices() override { ++restored; }
};

/// A real session with a scripted backend and speech service, silence for sound and a clock that the test moves.
class SessionRig : public ::testing::Test {
protected:
    using Reply = testing::ScriptedHttpServer::Reply;

    SessionRig();
    ~SessionRig() override;

    static AIInterviewModel interview(int answerType);
    void single();
    void twoLanguages();

    /// Opens the window without waiting for the token.
    void openWindow();
    /// Opens the window and waits until recognition runs.
    void open();
    /// Closes the window and waits until its services have stopped.
    void close();

    AIInterviewDetailController& page() { return *window_->controller(); }
    testing::SpeechSessionSeen& speech() { return *speechServer_.sessions.back(); }

    /// Lets the speech service say something and waits until the page shows it.
    void partial(const QString& text);
    void final(const QString& text);
    void translated(const QString& member, const QString& text, const QString& translation);
    /// Waits until that many finished rows are there.
    bool rows(std::size_t count);
    /// Waits until that many questions have reached the backend.
    bool asked(std::size_t count);
    QJsonObject question(std::size_t number) const;
    /// A piece of the latest question's answer.
    void answerPiece(const QString& text);

    MeasuredList& transcript() { return *window_->findChild<MeasuredList*>("topTableView"); }
    MeasuredList& answers() { return *window_->findChild<MeasuredList*>("bottomTableView"); }
    QPlainTextEdit& box() { return *window_->findChild<QPlainTextEdit*>("textView"); }
    QPushButton& answerButton() { return *window_->findChild<QPushButton*>("aiResponseButton"); }
    static std::string shown(const MeasuredList& list, int row);

    QTemporaryDir directory_;
    UserDefaults defaults_{directory_.filePath("settings.ini")};
    Settings settings_{defaults_};
    testing::ScriptedHttpServer tokenServer_;
    testing::ScriptedHttpServer answerServer_;
    testing::ScriptedSpeechServer speechServer_;
    testing::CapturedLog log_;
    HttpDatas http_{settings_, {}, {}};
    std::chrono::milliseconds tick_ = std::chrono::hours(1);
    std::unique_ptr<TimerManager> timer_;
    CountingRouter router_;
    ProgressHUD hud_;
    SessionStatus status_;
    std::unique_ptr<SessionWindow> window_;
};

} // namespace parlowen
