#include <PulseAudio/PulseEventLoop.h>
#include <PulseAudio/SecondLook.h>
#include <gmock/gmock.h>
#include <support/PrivatePulseAudio.h>
#include <support/WaitFor.h>

namespace parlowen::testing {
namespace {

using ::testing::ElementsAre;

/// Looks whose answers are made up: the n-th look's is the n-th of the list.
class SecondLookTest : public ::testing::Test {
protected:
    SecondLookTest() {
        loop_.start();
        const std::lock_guard lock(loop_);
        look_.start();
    }
    ~SecondLookTest() override {
        {
            const std::lock_guard lock(loop_);
            look_.stop();
            taken_.reset();
        }
        loop_.stop();
    }

    /// Whether each look was sure; empty until there were as many as answers.
    std::vector<bool> sure() {
        waitFor([this] {
            const std::lock_guard lock(loop_);
            return sure_.size() == answers_.size();
        });
        const std::lock_guard lock(loop_);
        return sure_;
    }

    static void onServer(pa_context* /*context*/, const pa_server_info* /*info*/, void* test) {
        auto* self = static_cast<SecondLookTest*>(test);
        if (self->sure_.size() == self->answers_.size())
            return;
        self->sure_.push_back(self->look_.isSure(self->answers_[self->sure_.size()]));
        if (self->sure_.back())
            self->taken_ = self->look_.take();
    }

    bool isTakenUp() {
        const std::lock_guard lock(loop_);
        return taken_ && pa_context_get_state(taken_.get()) == PA_CONTEXT_READY;
    }

    PrivatePulseAudio server_;
    PulseEventLoop loop_;
    const std::vector<std::string> answers_{"missed", "old", "old", "old"};
    std::vector<bool> sure_;
    PulseContext taken_;
    SecondLook look_{loop_.api(), server_.address().toStdString(),
                     [this](pa_context* context) { return pa_context_get_server_info(context, onServer, this); }};
};

TEST_F(SecondLookTest, IsSureOfWhatTwoLooksInARowSayAndItsConnectionOutlivesTheNext) {
    ASSERT_TRUE(server_.isReady()) << server_.output().toStdString();
    EXPECT_THAT(sure(), ElementsAre(false, false, true, true));
    EXPECT_TRUE(isTakenUp());
}

} // namespace
} // namespace parlowen::testing
