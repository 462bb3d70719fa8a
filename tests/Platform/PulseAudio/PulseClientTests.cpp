#include <PulseAudio/PulseClient.h>
#include <PulseAudio/SecondLook.h>
#include <gmock/gmock.h>
#include <support/EitherAudioServer.h>

#include <QLocalServer>
#include <atomic>

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;
using Phase = PulseClient::Phase;

const QStringList twoOutputs{"module-null-sink sink_name=speakers", "module-null-sink sink_name=headset"};

class PulseClientTest : public EitherAudioServer {
protected:
    static std::string defaultOf(PulseClient& client) { return client.state()->snapshot.defaultSink; }
};

ON_EITHER_AUDIO_SERVER(PulseClientTest);

TEST_P(PulseClientTest, FollowsTheServerTellsItsObserversAndComesBackWithIt) {
    ASSERT_NO_FATAL_FAILURE(startServer(twoOutputs));
    PulseClient client(daemon->address().toStdString());
    ASSERT_EQ(client.waitUntilKnown(30s)->phase, Phase::Up);
    std::atomic<int> told = 0;
    auto watch = client.watch([&told](const PulseClient::StatePtr&) { ++told; });
    for (const char* output : {"speakers", "headset"}) {
        control({"set-default-sink", output});
        EXPECT_TRUE(waitFor([&] { return defaultOf(client) == output; }));
    }
    EXPECT_TRUE(waitFor([&told] { return told > 0; }));
    daemon->kill();
    EXPECT_TRUE(waitFor([&] { return client.state()->phase == Phase::Away; }));
    EXPECT_FALSE(client.state()->problem.empty());
    EXPECT_TRUE(client.state()->snapshot.sinks.empty());
    const auto connection = client.state()->connection;
    ASSERT_TRUE(daemon->restart());
    EXPECT_TRUE(waitFor([&] { return client.state()->phase == Phase::Up; }));
    EXPECT_GT(client.state()->connection, connection);
    watch.reset();
    const int before = told;
    control({"set-default-sink", "speakers"});
    EXPECT_TRUE(waitFor([&] { return defaultOf(client) == "speakers"; }));
    EXPECT_EQ(told, before);
}

/// Whoever holds a connection to the first of two servers at one address knows nothing of the second, as if it had
/// missed what makes them differ.
TEST(PulseClientOnPulseAudio, FindsTheDefaultThatItsConnectionMissedAndLeavesTheServerAloneThen) {
    const PrivatePulseAudio changed(twoOutputs);
    control({"set-default-sink", "speakers"});
    const PrivatePulseAudio server(twoOutputs);
    control({"set-default-sink", "headset"});
    const QTemporaryDir directory;
    const QString link = directory.filePath(QStringLiteral("native"));
    const auto leadTo = [&link](const PrivateAudioServer& to) {
        QFile::remove(link);
        return QFile::link(to.address().section(u':', 1), link);
    };
    ASSERT_TRUE(leadTo(changed));
    PulseClient client("unix:" + link.toStdString());
    const auto hears = [&client](const char* output) {
        return waitFor([&] { return client.state()->snapshot.defaultSink == output; }, 30'000);
    };
    ASSERT_TRUE(hears("speakers"));
    const auto connection = client.state()->connection;
    std::atomic<bool> wasAway = false;
    const auto watch = client.watch(
        [&wasAway](const PulseClient::StatePtr& state) { wasAway = wasAway || state->phase != Phase::Up; });
    ASSERT_TRUE(leadTo(server));
    EXPECT_TRUE(hears("headset"));
    EXPECT_GT(client.state()->connection, connection) << "whoever records must open its streams anew";
    EXPECT_FALSE(wasAway);
    const std::size_t requests = client.traffic().requests;
    EXPECT_TRUE(holdsFor([&] { return client.traffic().requests == requests; }, 500));
}

TEST(PulseClientWithoutServer, SaysSoAndNoCallOfItWaits) {
    for (const char* address : {"unix:/nowhere/native", "nonsense:{"})
        EXPECT_EQ(PulseClient(address).waitUntilKnown(30s)->phase, Phase::Away);
    const QTemporaryDir directory;
    QLocalServer silent;
    ASSERT_TRUE(silent.listen(directory.filePath(QStringLiteral("native"))));
    PulseClient hanging("unix:" + silent.fullServerName().toStdString());
    EXPECT_EQ(hanging.state()->phase, Phase::Connecting);
    EXPECT_TRUE(waitFor([&] { return hanging.state()->phase == Phase::Away; }, 30'000));
}

/// Looks whose answers are made up: the n-th look's is the n-th of the list.
class SecondLookTest : public ::testing::Test {
protected:
    ~SecondLookTest() override {
        {
            const std::lock_guard lock(loop_);
            look_.stop();
            taken_.reset();
        }
        loop_.stop();
    }

    static void onServer(pa_context* /*context*/, const pa_server_info* /*info*/, void* test) {
        auto* self = static_cast<SecondLookTest*>(test);
        if (self->sure_.size() == self->answers_.size())
            return;
        self->sure_.push_back(self->look_.isSure(self->answers_[self->sure_.size()]));
        if (self->sure_.back())
            self->taken_ = self->look_.take();
    }

    const PrivatePulseAudio server_;
    PulseEventLoop loop_;
    const std::vector<std::string> answers_{"missed", "old", "old", "old"};
    std::vector<bool> sure_;
    PulseContext taken_;
    SecondLook look_{loop_.api(), server_.address().toStdString(),
                     [this](pa_context* context) { return pa_context_get_server_info(context, onServer, this); }};
};

TEST_F(SecondLookTest, IsSureOfWhatTwoLooksInARowSayAndItsConnectionOutlivesTheNext) {
    loop_.start();
    {
        const std::lock_guard lock(loop_);
        look_.start();
    }
    const auto isDone = [this] {
        const std::lock_guard lock(loop_);
        return sure_.size() == answers_.size();
    };
    EXPECT_TRUE(waitFor(isDone, 60'000));
    const std::lock_guard lock(loop_);
    EXPECT_THAT(sure_, ::testing::ElementsAre(false, false, true, true));
    EXPECT_TRUE(taken_ && pa_context_get_state(taken_.get()) == PA_CONTEXT_READY);
}

} // namespace
} // namespace parlowen::testing
