#include <PulseAudio/PulseEventLoop.h>

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace parlowen {
namespace {

using Clock = PulseEventLoop::Clock;

/// What a loop saw, in order: the bytes of a pipe, one at a time, and "!" for its timer. It rests when it sees an "a".
class PulseEventLoopTest : public ::testing::Test {
protected:
    static constexpr auto rest = std::chrono::milliseconds(1000);

    PulseEventLoopTest() {
        EXPECT_EQ(pipe(ends_.data()), 0);
        loop_.api()->io_new(loop_.api(), ends_[0], PA_IO_EVENT_INPUT, onByte, this);
        loop_.start();
    }
    ~PulseEventLoopTest() override {
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
        if (byte == 'a') {
            self->restBegan_ = Clock::now();
            self->loop_.restUntil(self->restBegan_ + rest);
        }
    }
    static void onTimer(pa_mainloop_api* /*api*/, pa_time_event* /*event*/, const timeval* /*time*/, void* data) {
        static_cast<PulseEventLoopTest*>(data)->see('!');
    }

    void see(char what) {
        seen_ += what;
        loop_.signal();
    }
    void send(const std::string& bytes) {
        EXPECT_EQ(write(ends_[1], bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    void waitUntilSeen(const std::string& all) {
        const std::lock_guard lock(loop_);
        while (seen_.size() < all.size())
            loop_.waitUntil(Clock::now() + std::chrono::seconds(1));
        EXPECT_EQ(seen_, all);
    }
    void setTimer(std::chrono::milliseconds delay) {
        const std::lock_guard lock(loop_);
        timeval time{};
        pa_gettimeofday(&time);
        pa_timeval_add(&time, static_cast<pa_usec_t>(delay.count()) * PA_USEC_PER_MSEC);
        loop_.api()->time_new(loop_.api(), &time, onTimer, this);
    }

    std::array<int, 2> ends_{};
    std::string seen_; // under the lock
    Clock::time_point restBegan_;
    PulseEventLoop loop_; // goes first
};

TEST_F(PulseEventLoopTest, RestsOnceNothingIsAtHandButNotBeyondATimer) {
    send("ab");
    waitUntilSeen("ab");
    EXPECT_LT(Clock::now() - restBegan_, rest);
    std::this_thread::sleep_for(rest / 10); // by then it rests
    send("c");
    waitUntilSeen("ab"); // the lock is free meanwhile
    waitUntilSeen("abc");
    EXPECT_GE(Clock::now() - restBegan_, rest);
    setTimer(std::chrono::milliseconds(200));
    send("a");
    waitUntilSeen("abca!");
    EXPECT_LT(Clock::now() - restBegan_, rest);
}

} // namespace
} // namespace parlowen
