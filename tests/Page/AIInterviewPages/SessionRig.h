#pragma once

#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <QJsonObject>
#include <Tools/AudioRouting.h>
#include <Tools/SessionStatus.h>
#include <Tools/TimerManager.h>
#include <support/BackendFixture.h>
#include <support/ScriptedSpeechServer.h>

namespace parlowen {

struct CountingRouter : AudioRouting {
    int restored = 0;
    void setupSystemAudio() override {}
    void switchInput(bool) override {}
    void restoreDevices() override { ++restored; }
};

/// A real session without a window: a scripted backend and speech service, silence for sound, a clock that the test
/// moves. What happens is kept in words.
struct SessionRig : testing::BackendFixture {
    SessionRig();
    ~SessionRig() override;

    static AIInterviewModel interview(int answerType);
    void single();
    void twoLanguages();

    std::unique_ptr<AIInterviewDetailController> makeSession();
    virtual void start();
    void open();
    virtual void close();
    virtual AIInterviewDetailController& page() { return *session_; }
    testing::SpeechSessionSeen& speech() { return *speechServer_.sessions.back(); }

    /// Lets the speech service say something and waits until the session has it.
    void partial(const QString& text);
    void final(const QString& text);
    void translated(const QString& member, const QString& text, const QString& translation);
    bool asked(std::size_t count);
    QJsonObject question(std::size_t number) const;
    /// A piece of the latest question's answer; "@@" ends it.
    void answerPiece(const QString& text);
    bool becomes(RecognitionStatus::State state, RecognitionStatus::Cause cause = RecognitionStatus::Cause::None);
    bool told(const std::string& words);

    testing::ScriptedHttpServer answerServer_; ///< beside the fixture's, which gives tokens
    testing::ScriptedSpeechServer speechServer_;
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
