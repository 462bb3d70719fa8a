#include "SessionRig.h"

#include <Network/ApiBase.h>

#include <QJsonDocument>
#include <QJsonObject>

namespace parlowen {
namespace {

using testing::waitFor;
using State = RecognitionStatus::State;
using Cause = RecognitionStatus::Cause;

class SessionRecoveryTest : public SessionRig {
protected:
    bool becomes(State state, Cause cause = Cause::None) {
        return waitFor([&] { return status_.recognition().state == state && status_.recognition().cause == cause; });
    }
};

TEST_F(SessionRecoveryTest, MissedSoundIsARowInItsPlaceThatIsNoSentence) {
    single();
    open();
    int missed = 0;
    AIInterviewDetailController::Observer observer;
    observer.missed = [&missed](int seconds) { missed += seconds; };
    page().setObserver(observer);
    final("One.");
    partial("tw");
    status_.addMissed(7.4);
    final("Two.");
    ASSERT_TRUE(waitFor([&missed] { return missed == 7; })) << "behind the sentence that had begun";
    status_.addMissed(4.6);
    ASSERT_TRUE(waitFor([&missed] { return missed == 12; }));
    final("Three.");
    ASSERT_TRUE(asked(3));
    EXPECT_EQ(page().topArr().size(), 3U);
    ASSERT_EQ(transcript().model()->rowCount(), 4);
    std::vector<std::string> rows;
    for (int row = 0; row < 4; ++row)
        rows.push_back(transcript().model()->index(row, 0).data(Qt::AccessibleTextRole).toString().toStdString());
    EXPECT_THAT(rows, ::testing::ElementsAre("1:One.", "2:Two.", "… 12 s 未听到 …", "3:Three."));
}

TEST_F(SessionRecoveryTest, ALostServiceShowsUntilItIsBackAndARefusedTokenIsReplaced) {
    single();
    openWindow();
    ASSERT_TRUE(becomes(State::Recognizing));
    ASSERT_TRUE(waitFor([this] { return !speechServer_.sessions.empty() && !speech().turns.empty(); }));
    speechServer_.refuseNext(503, 2);
    speech().drop();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::ServiceBusy));
    ASSERT_TRUE(becomes(State::Recognizing));
    speechServer_.refuseNext(401);
    speech().drop();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::TokenRefused));
    ASSERT_TRUE(becomes(State::Recognizing));
    EXPECT_EQ(tokenServer_.requests().size(), 2U);

    speechServer_.hangUpOnNext(1);
    page().setServiceStarting(true);
    speech().drop();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::LocalServiceStarts));
    page().setServiceStarting(false);
    ASSERT_TRUE(becomes(State::Recognizing));
}

TEST_F(SessionRecoveryTest, AFirstTokenThatComesLateStartsRecognitionAndRefreshesThatFailDoNotEndIt) {
    testing::ScriptedHttpServer backend;
    for (int i = 0; i < 5; ++i)
        backend.enqueue(Reply::json(503, "down"));
    const QJsonObject access{{"token", "late"}, {"area", speechServer_.area()}};
    backend.enqueue(Reply::json(200, QJsonDocument(QJsonObject{{"code", 0}, {"data", access}}).toJson()));
    backend.enqueue(Reply::json(503, "down"));
    ApiBase::setBuiltIn(backend.baseUrl());
    single();
    tick_ = std::chrono::milliseconds(3); // so the first refresh comes soon
    openWindow();
    ASSERT_TRUE(becomes(State::Reconnecting, Cause::TokenMissing));
    ASSERT_TRUE(becomes(State::Recognizing));
    EXPECT_EQ(speech().header("Authorization"), "Bearer late");
    ASSERT_TRUE(waitFor([&] { return backend.requests().size() >= 10; })) << "four at once, and again";
    EXPECT_EQ(status_.recognition().state, State::Recognizing);
    final("Still here.");
    EXPECT_EQ(speechServer_.connections, 1);
}

} // namespace
} // namespace parlowen
