#include <Foundation/NotificationCenter.h>
#include <gmock/gmock.h>

namespace parlowen {
namespace {

using ::testing::ElementsAre;

TEST(NotificationCenterTest, DeliversToLivingObserversOfTheNameInOrder) {
    NotificationCenter center;
    QObject first;
    auto second = std::make_unique<QObject>();
    std::vector<std::string> seen;
    center.observe("a", &first, [&](const Notification& n) { seen.push_back("first " + n.name.toStdString()); });
    center.observe("a", second.get(), [&](const Notification& n) {
        seen.push_back("second " + std::to_string(n.userInfo["type"].toInt()));
    });
    center.observe("b", &first, [&](const Notification&) { seen.push_back("b"); });

    center.post("a", nullptr, {{"type", 2}});
    EXPECT_THAT(seen, ElementsAre("first a", "second 2"));

    second.reset();
    center.post("a");
    EXPECT_THAT(seen, ElementsAre("first a", "second 2", "first a"));
}

TEST(NotificationCenterTest, AnObserverMayAddObserversAndDestroyContexts) {
    NotificationCenter center;
    QObject context;
    auto victim = std::make_unique<QObject>();
    int added = 0;
    int victims = 0;
    center.observe("a", &context, [&](const Notification&) {
        victim.reset();
        for (int i = 0; i < 50; ++i)
            center.observe("a", &context, [&](const Notification&) { ++added; });
    });
    center.observe("a", victim.get(), [&](const Notification&) { ++victims; });
    center.post("a");
    EXPECT_EQ(victims, 0);
    EXPECT_EQ(added, 0) << "observers added while posting hear the next notification";
    center.post("a");
    EXPECT_EQ(added, 50);
}

} // namespace
} // namespace parlowen
