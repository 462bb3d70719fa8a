#include "Http/TurnQueue.h"

#include <future>
#include <gtest/gtest.h>

using namespace parlowen::service;

TEST(TurnQueue, RunsOnePieceOfAUserAtATimeAndTheOthersInTurns) {
    std::promise<void> longGoesOn;
    std::promise<void> firstGoesOn;
    std::promise<void> othersRan;
    std::mutex mutex;
    std::string order;
    TurnQueue queue(2);
    const auto add = [&](std::int64_t user, const std::string& name, std::promise<void>* waitsFor = nullptr) {
        queue.add(user, [&, name, waitsFor](bool run) {
            if (waitsFor != nullptr)
                waitsFor->get_future().wait();
            const std::lock_guard lock(mutex);
            order += run ? name : "(" + name + ")";
            if (order.size() == 5)
                othersRan.set_value();
            if (name == "y")
                longGoesOn.set_value();
        });
    };
    add(9, "z", &longGoesOn);
    add(9, "y");
    add(1, "a", &firstGoesOn);
    for (const auto& [user, name] : {std::pair(1, "b"), {1, "c"}, {2, "d"}, {3, "e"}})
        add(user, name);
    firstGoesOn.set_value();
    othersRan.get_future().wait();
    queue.stop();
    add(1, "f");
    EXPECT_EQ(order, "adebc(y)z(f)");
}
