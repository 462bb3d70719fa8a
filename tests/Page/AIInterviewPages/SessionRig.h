#pragma once

#include <Foundation/UserDefaults.h>
#include <Network/HttpDatas.h>
#include <Network/Settings.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <Tools/AudioRouting.h>
#include <Tools/SessionStatus.h>
#include <Tools/TimerManager.h>

#include <QJsonObject>
#include <QTemporaryDir>
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

/// A real session without a window: a scripted backend and speech service, silence for sound, a clock that the test
/// moves. What happens is kept in words.
class SessionRig : public ::testing::Test {
protected:
    using Reply = testing::ScriptedHttpServer::Reply;

    SessionRig();
    ~SessionRig() override;

    static AIInterviewModel interview(int answerType);
    void single();
    void twoLanguages();

    std::unique_ptr<AIInterviewDetailController> makeSession();
    /// Starts the session without waiting for the token.
    virtual void start();
    /// Starts it and waits until recognition runs.
    void open();
    /// Closes it and waits until its services have stopped.
    virtual void close();
    virtual AIInterviewDetailController& page() { return *session_; }
    testing::SpeechSessionSeen& speech() { return *speechServer_.sessions.back(); }

    /// Lets the speech service say something and waits until the session has it.
    void partial(const QString& text);
    void final(const QString& text);
    void translated(const QString& member, const QString& text, const QString& translation);
    /// Waits until that many questions have reached the backend.
    bool asked(std::size_t count);
    QJsonObject question(std::size_t number) const;
    /// A piece of the latest question's answer; "@@" ends it.
    void answerPiece(const QString& text);
    bool becomes(RecognitionStatus::State state, RecognitionStatus::Cause cause = RecognitionStatus::Cause::None);
    /// Waits until that was told.
    bool told(const std::string& words);

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
    SessionStatus status_;
    QString toast_;
    std::vector<std::string> told_; ///< rows, questions and answers as they come
    std::unique_ptr<AIInterviewDetailController> session_;
};

} // namespace parlowen
