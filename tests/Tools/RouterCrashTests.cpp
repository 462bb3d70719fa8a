#include "RouterFixture.h"

namespace parlowen {
namespace {

using namespace ::parlowen::testing;

/// The parameter tells whether the session hears the call's own sound, or whether a recovery's change was made.
class RouterCrashTest : public RouterFixture, public ::testing::WithParamInterface<bool> {
protected:
    std::shared_ptr<RouterJournal> journalOfDeadProcess() {
        return std::make_shared<RouterJournal>(journalPath,
                                               ProcessIdentity{0x7FFFFFFF, QString::number(++processes), "boot"});
    }

    /// False when a crash ended the session.
    bool runSession(bool systemAudio) {
        server->setDefaults("line", "speakers");
        try {
            KXAudioRouter router(server, journalOfDeadProcess(),
                                 [this](double, const std::function<void()>& work) { delayed.push_back(work); });
            if (systemAudio)
                router.setupSystemAudio();
            else
                router.switchInput(true);
            runDelayed();
            router.restoreDevices();
            return true;
        } catch (const Crash&) {
            delayed.clear();
            return false;
        }
    }

    /// Recovers as the next start does, and finds the user's own devices.
    void recover(const std::string& when) {
        server->crashAt(0, false);
        journalOfDeadProcess()->recover(server);
        EXPECT_EQ(defaultInput() + " " + defaultOutput(), "line speakers") << when;
        EXPECT_EQ(server->devices().devices.size(), 6U) << when;
        EXPECT_FALSE(journalExists()) << when;
    }

    int processes = 0;
};

TEST_P(RouterCrashTest, TheNextStartGivesBackWhereverTheSessionCrashed) {
    int crashes = 0;
    for (const bool afterIt : {false, true}) {
        for (int change = 1;; ++change) {
            server->crashAt(change, afterIt);
            if (runSession(GetParam()))
                break;
            ++crashes;
            recover("change " + std::to_string(change) + (afterIt ? " made" : " not made"));
        }
    }
    EXPECT_EQ(crashes, GetParam() ? 12 : 6) << "two for each change that a session makes";
}

TEST_P(RouterCrashTest, ARecoveryThatCrashesIsFinishedByTheNext) {
    for (int change = 1; change <= 3; ++change) {
        server->crashAt(3, true);
        ASSERT_FALSE(runSession(true));
        server->crashAt(change, GetParam());
        EXPECT_THROW(journalOfDeadProcess()->recover(server), Crash) << change;
        recover("recovery crashed at change " + std::to_string(change));
    }
}

INSTANTIATE_TEST_SUITE_P(All, RouterCrashTest, ::testing::Bool());

} // namespace
} // namespace parlowen
