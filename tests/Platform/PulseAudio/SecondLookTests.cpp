#include <PulseAudio/SecondLook.h>
#include <gmock/gmock.h>
#include <support/PrivateAudioServer.h>
#include <support/WaitFor.h>

namespace parlowen::testing {
namespace {

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
