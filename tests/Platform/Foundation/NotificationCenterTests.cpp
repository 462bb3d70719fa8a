#include <Foundation/NotificationCenter.h>
#include <gmock/gmock.h>

namespace parlowen {
namespace {

TEST(NotificationCenterTest, DeliversInOrderToLivingObserversThatMayAddOthersAndEndContexts) {
    NotificationCenter center;
    QObject first;
    auto second = std::make_unique<QObject>();
    std::vector<std::string> seen;
    center.observe("a", &first, [&](const Notification& n) {
        seen.push_back("first " + n.name.toStdString());
        if (n.userInfo["type"].toInt() == 2)
            return;
        second.reset();
        for (int i = 0; i < 50; ++i) // they hear the next notification
            center.observe("a", &first, [&](const Notification&) { seen.emplace_back("added"); });
    });
    center.observe("a", second.get(), [&](const Notification&) { seen.emplace_back("second"); });
    center.observe("b", &first, [&](const Notification&) { seen.emplace_back("b"); });

    center.post("a", nullptr, {{"type", 2}});
    EXPECT_THAT(seen, ::testing::ElementsAre("first a", "second"));
    center.post("a");
    EXPECT_THAT(seen, ::testing::ElementsAre("first a", "second", "first a"));
    center.post("a", nullptr, {{"type", 2}});
    EXPECT_EQ(seen.size(), 54U);
}

} // namespace
} // namespace parlowen
