#include <Foundation/BackgroundQueue.h>
#include <Foundation/MainQueue.h>
#include <Foundation/SerialQueue.h>
#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "support/WaitFor.h"

namespace parlowen {
namespace {

using parlowen::testing::waitFor;

TEST(SerialQueueTest, RunsAllWorkInOrderOnOneThreadThoughItIsDropped) {
    std::vector<std::pair<int, std::thread::id>> seen;
    {
        SerialQueue queue("ordered");
        for (int i = 0; i < 1000; ++i)
            queue.async([&, i] { seen.emplace_back(i, std::this_thread::get_id()); });
    }
    ASSERT_EQ(seen.size(), 1000U);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(seen[static_cast<std::size_t>(i)], std::pair(i, seen.front().second));
    EXPECT_NE(seen.front().second, std::this_thread::get_id());
}

TEST(SerialQueueTest, CanBeDroppedByItsOwnWork) {
    auto queue = std::make_shared<SerialQueue>("self");
    std::promise<void> submitted, after;
    queue->async([mine = queue, gate = submitted.get_future().share()]() mutable {
        gate.wait();
        mine.reset(); // the last owner
    });
    queue->async([&after] { after.set_value(); });
    queue.reset();
    submitted.set_value();
    EXPECT_EQ(after.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST(MainQueueTest, WorkFromAnyThreadRunsLaterOnTheMainThreadInOrderUnlessItsContextIsGone) {
    std::vector<int> seen;
    const auto note = [&](int value) { seen.push_back(isMainThread() ? value : -1); };
    auto context = std::make_unique<QObject>();
    auto shared = std::make_shared<int>(7);
    onMain(QPointer<QObject>(context.get()), [&] { note(-2); });
    afterDelay(0.0, QPointer<QObject>(context.get()), [&] { note(-3); });
    onMain(std::weak_ptr<int>(shared), [&](int&) { note(-4); });
    onMain([&] { note(1); });
    EXPECT_TRUE(seen.empty());
    context.reset();
    shared.reset();
    inBackground([&] {
        EXPECT_FALSE(isMainThread());
        onMain([&] { note(2); });
        onMainAfter(0.02, [&] { note(4); });
        onMain([&] { note(3); });
    });
    waitForBackground();
    ASSERT_TRUE(waitFor([&] { return seen.size() == 4; }));
    EXPECT_EQ(seen, (std::vector{1, 2, 3, 4}));
}

} // namespace
} // namespace parlowen
