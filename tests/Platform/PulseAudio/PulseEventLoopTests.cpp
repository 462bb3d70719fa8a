#include <PulseAudio/PulseEventLoop.h>

#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace parlowen::testing {
namespace {

using namespace std::chrono_literals;

/// What a loop saw, in order: the bytes of a pipe, one at a time, and "!" for its timer. At an "a" it sets the timer
/// and rests for much longer.
class PulseEventLoopTest : public ::testing::Test {
protected:
    PulseEventLoopTest() {
        EXPECT_EQ(pipe(ends_.data()), 0);
        loop_.api()->io_new(loop_.api(), ends_[0], PA_IO_EVENT_INPUT, onByte, this);
        loop_.start();
    }
    ~PulseEventLoopTest() override {
        {
            const std::lock_guard lock(loop_);
            timer_.stop();
        }
        loop_.stop();
        for (const int end : ends_)
            close(end);
    }

    static void onByte(pa_mainloop_api* /*api*/, pa_io_event* /*event*/, int file, pa_io_event_flags_t /*flags*/,
                       void* data) {
        auto* self = static_cast<PulseEventLoopTest*>(data);
        char byte = 0;
        EXPECT_EQ(read(file, &byte, 1), 1);
        self->see(byte);
        if (byte != 'a')
            return;
        self->loop_.restUntil(PulseEventLoop::Clock::now() + 40s);
        self->timer_.start(100ms);
    }

    void see(char what) {
        seen_ += what;
        loop_.signal();
    }
    void send(const std::string& bytes) {
        EXPECT_EQ(write(ends_[1], bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    void waitUntilSeen(std::size_t count) { // the lock is free meanwhile
        const std::lock_guard lock(loop_);
        while (seen_.size() < count && loop_.waitUntil(PulseEventLoop::Clock::now() + 30s)) {
        }
    }

    std::array<int, 2> ends_{};
    std::string seen_;    // under the lock
    PulseEventLoop loop_; // goes first
    PulseTimer timer_{loop_.api(), [this] { see('!'); }};
};

TEST_F(PulseEventLoopTest, RestsOnceNothingIsAtHandButNotBeyondATimer) {
    send("ab");
    waitUntilSeen(3);
    EXPECT_EQ(seen_, "ab!") << "what is at hand comes before the rest";
    bool rested = false;
    for (int attempt = 0; attempt < 10 && !rested; ++attempt) {
        seen_.clear();
        send("a");
        waitUntilSeen(1);
        std::this_thread::sleep_for(20ms); // by then it rests, unless the machine is busy
        send("c");
        waitUntilSeen(3);
        rested = seen_ == "a!c";
    }
    EXPECT_TRUE(rested) << "what comes during a rest waits for its end";
}

} // namespace
} // namespace parlowen::testing
