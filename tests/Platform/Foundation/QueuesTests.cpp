#include <Foundation/BackgroundQueue.h>
#include <Foundation/MainQueue.h>
#include <Foundation/SerialQueue.h>
#include <gmock/gmock.h>

#include <QThread>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "support/WaitFor.h"

namespace parlowen {
namespace {

using parlowen::testing::waitFor;

TEST(SerialQueueTest, RunsAllWorkInOrderOnOneThreadThatIsNotTheCallersThoughItIsDropped) {
    std::vector<int> seen;
    std::vector<std::thread::id> threads;
    {
        SerialQueue queue("ordered");
        for (int i = 0; i < 1000; ++i) {
            queue.async([&, i] {
                seen.push_back(i);
                threads.push_back(std::this_thread::get_id());
            });
        }
    }
    ASSERT_EQ(seen.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_THAT(threads, ::testing::Each(threads.front()));
    EXPECT_NE(threads.front(), std::this_thread::get_id());
}

TEST(SerialQueueTest, CanBeDroppedByItsOwnWork) {
    auto queue = std::make_shared<SerialQueue>("self");
    std::promise<void> submitted;
    std::promise<void> after;
    queue->async([mine = queue, gate = submitted.get_future().share()]() mutable {
        gate.wait();
        mine.reset(); // the last owner
    });
    queue->async([&after] { after.set_value(); });
    queue.reset();
    submitted.set_value();
    EXPECT_EQ(after.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST(MainQueueTest, WorkFromAnyThreadRunsLaterOnTheMainThreadInOrder) {
    std::vector<int> seen;
    std::vector<bool> onMainThread;
    const auto note = [&](int value) {
        seen.push_back(value);
        onMainThread.push_back(isMainThread());
    };
    onMain([&] { note(1); });
    EXPECT_TRUE(seen.empty());
    std::thread([&] {
        EXPECT_FALSE(isMainThread());
        onMain([&] { note(2); });
        onMainAfter(0.02, [&] { note(4); });
        onMain([&] { note(3); });
    }).join();
    ASSERT_TRUE(waitFor([&] { return seen.size() == 4; }));
    EXPECT_EQ(seen, (std::vector{1, 2, 3, 4}));
    EXPECT_THAT(onMainThread, ::testing::Each(true));
}

TEST(MainQueueTest, WorkOfAContextThatIsGoneIsDropped) {
    bool dropped = true;
    bool reached = false;
    auto context = std::make_unique<QObject>();
    auto shared = std::make_shared<int>(7);
    onMain(QPointer<QObject>(context.get()), [&] { dropped = false; });
    afterDelay(0.0, QPointer<QObject>(context.get()), [&] { dropped = false; });
    onMain(std::weak_ptr<int>(shared), [&](int&) { dropped = false; });
    context.reset();
    shared.reset();
    onMainAfter(0.01, [&] { reached = true; });
    ASSERT_TRUE(waitFor([&] { return reached; }));
    EXPECT_TRUE(dropped);
}

TEST(BackgroundQueueTest, RunsOffTheMainThread) {
    std::atomic<bool> off = false;
    inBackground([&off] { off = !isMainThread(); });
    waitForBackground();
    EXPECT_TRUE(off);
}

} // namespace
} // namespace parlowen
