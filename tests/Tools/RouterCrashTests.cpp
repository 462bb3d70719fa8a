#include "RouterFixture.h"

namespace parlowen {
namespace {

using namespace ::parlowen::testing;

struct Crash {};

/// Ends the program's doing before or after the n-th change that is asked of the server.
class CrashingServer : public SimulatedAudioServer {
public:
    void crashAt(int change, bool afterIt) {
        countdown_ = change;
        afterIt_ = afterIt;
    }

    OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::span<const std::byte> data) override {
        return around([&] { return SimulatedAudioServer::setPropertyData(object, address, qualifier, data); });
    }
    OSStatus createAggregateDevice(const QVariantMap& description, AudioObjectID& device) override {
        return around([&] { return SimulatedAudioServer::createAggregateDevice(description, device); });
    }
    OSStatus destroyAggregateDevice(AudioObjectID device) override {
        return around([&] { return SimulatedAudioServer::destroyAggregateDevice(device); });
    }

private:
    OSStatus around(const std::function<OSStatus()>& change) {
        const bool here = countdown_ > 0 && --countdown_ == 0;
        if (here && !afterIt_)
            throw Crash();
        const OSStatus status = change();
        if (here)
            throw Crash();
        return status;
    }

    int countdown_ = 0; // 0: no crash
    bool afterIt_ = false;
};

class RouterCrashTest : public ::testing::TestWithParam<bool> {
protected:
    RouterCrashTest() {
        server->setDevice(sink("speakers", "Built-in Speakers"));
        server->setDevice(sink("loop", "vorlanOutput 2ch"));
        server->setDevice(source("built-in", "Built-in Microphone"));
        server->setDevice(source("line", "Line In"));
        server->setDefaults("line", "speakers");
    }

    std::shared_ptr<RouterJournal> journalOfDeadProcess() {
        return std::make_shared<RouterJournal>(path, ProcessIdentity{0x7FFFFFFF, QString::number(++processes), "boot"});
    }

    /// False when a crash ended the session.
    bool runSession(bool systemAudio) {
        try {
            std::vector<std::function<void()>> delayed;
            KXAudioRouter router(server, journalOfDeadProcess(),
                                 [&](double, const std::function<void()>& work) { delayed.push_back(work); });
            if (systemAudio)
                router.setupSystemAudio();
            else
                router.switchInput(true);
            for (const auto& work : delayed)
                work();
            router.restoreDevices();
            return true;
        } catch (const Crash&) {
            return false;
        }
    }

    void expectTheUsersOwnDevices(const std::string& when) {
        const AudioDeviceList now = server->devices();
        EXPECT_EQ(now.defaultInput, "line") << when;
        EXPECT_EQ(now.defaultOutput, "speakers") << when;
        EXPECT_EQ(now.devices.size(), 4U) << when;
        EXPECT_FALSE(QFile::exists(path)) << when;
    }

    QTemporaryDir directory{fastTemporaryPath()};
    QString path = directory.filePath(QStringLiteral("audio-devices.json"));
    std::shared_ptr<CrashingServer> server = std::make_shared<CrashingServer>();
    CapturedLog log;
    int processes = 0;
};

TEST_P(RouterCrashTest, TheNextStartGivesBackWhereverTheSessionCrashed) {
    const bool systemAudio = GetParam();
    int crashes = 0;
    for (int change = 1;; ++change) {
        bool finished = true;
        for (const bool afterIt : {false, true}) {
            const std::string when = "change " + std::to_string(change) + (afterIt ? " made" : " not made");
            server->setDefaults("line", "speakers");
            server->crashAt(change, afterIt);
            finished = runSession(systemAudio);
            server->crashAt(0, false);
            if (finished)
                break;
            ++crashes;
            journalOfDeadProcess()->recover(server);
            expectTheUsersOwnDevices(when);
        }
        if (finished)
            break;
    }
    EXPECT_EQ(crashes, systemAudio ? 12 : 6) << "two for each change that a session makes";
}

TEST_P(RouterCrashTest, ARecoveryThatCrashesIsFinishedByTheNext) {
    for (int change = 1; change <= 3; ++change) {
        server->setDefaults("line", "speakers");
        server->crashAt(3, true);
        ASSERT_FALSE(runSession(true));
        server->crashAt(change, GetParam());
        EXPECT_THROW(journalOfDeadProcess()->recover(server), Crash) << change;
        server->crashAt(0, false);
        journalOfDeadProcess()->recover(server);
        expectTheUsersOwnDevices("recovery crashed at change " + std::to_string(change));
    }
}

INSTANTIATE_TEST_SUITE_P(All, RouterCrashTest, ::testing::Bool());

} // namespace
} // namespace parlowen
