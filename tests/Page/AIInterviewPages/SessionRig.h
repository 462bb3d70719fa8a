#pragma once

#include <Foundation/BackgroundQueue.h>
#include <Page/AIInterviewPages/AIInterviewDetailController.h>
#include <QJsonDocument>
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
    virtual void start() {
        session_ = makeSession();
        session_->viewDidLoad();
    }
    void open() {
        start();
        ASSERT_TRUE(testing::waitFor([this] { return !speechServer_.sessions.empty() && !speech().turns.empty(); }));
    }
    virtual void close() {
        session_->windowWillClose();
        waitForBackground();
    }
    virtual AIInterviewDetailController& page() { return *session_; }
    testing::SpeechSessionSeen& speech() { return *speechServer_.sessions.back(); }

    /// Lets the speech service say something and waits until the session has it.
    void partial(const QString& text);
    void final(const QString& text);
    void translated(const QString& member, const QString& text, const QString& translation);
    bool asked(std::size_t count) {
        return testing::waitFor([&] { return answerServer_.requests().size() == count; });
    }
    QJsonObject question(std::size_t number) const {
        return QJsonDocument::fromJson(answerServer_.requests().at(number).body).object();
    }
    /// A piece of the latest question's answer; "@@" ends it.
    void answerPiece(const QString& text);
    bool becomes(RecognitionStatus::State state, RecognitionStatus::Cause cause = RecognitionStatus::Cause::None) {
        return testing::waitFor(
            [&] { return status_.recognition().state == state && status_.recognition().cause == cause; });
    }
    bool told(const std::string& words) {
        return testing::waitFor([&] { return std::ranges::find(told_, words) != told_.end(); });
    }

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
