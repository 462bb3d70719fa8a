#include "WindowRig.h"
#include <Main/SessionShortcuts.h>
#include <Page/View/ShortcutSwitch.h>
#include <Tools/PopView/CommonTipView.h>

namespace parlowen::testing {
namespace {

/// A desktop that gives or refuses.
struct FakeShortcuts : GlobalShortcuts {
    static inline Result<void> answer;
    static inline std::vector<FakeShortcuts*> alive;

    FakeShortcuts() { alive.push_back(this); }
    ~FakeShortcuts() override { std::erase(alive, this); }
    void bind(const std::vector<GlobalShortcut>& shortcuts, Bound bound) override {
        for (const GlobalShortcut& shortcut : shortcuts)
            ids << shortcut.id;
        bound(answer);
    }
    QStringList ids;
};

struct SessionShortcutsTest : WindowRig {
    SessionShortcuts::Hooks hooks() {
        return {[this] { return window_.get(); }, [this] { ++started_; },
                [this](const QString& why) { failures_ << why; }, [] { return std::make_unique<FakeShortcuts>(); }};
    }
    static void press(const char* id) { Q_EMIT FakeShortcuts::alive.at(0)->activated(id); }

    int started_ = 0;
    QStringList failures_;
};

TEST_F(SessionShortcutsTest, TheyAreHeldWhileTheSwitchSaysSo) {
    SessionShortcuts shortcuts(settings_, hooks());
    EXPECT_THAT(FakeShortcuts::alive, IsEmpty()) << "off until they are turned on";
    ShortcutSwitch page(settings_, nullptr);
    page.box()->click();
    ASSERT_EQ(FakeShortcuts::alive.size(), 1U);
    EXPECT_THAT(FakeShortcuts::alive.at(0)->ids, ElementsAre("window", "ask", "run"));
    EXPECT_TRUE(ShortcutSwitch(settings_, nullptr).box()->isChecked());
    page.box()->click();
    EXPECT_THAT(FakeShortcuts::alive, IsEmpty());
    FakeShortcuts::answer = failure("taken");
    page.box()->click();
    EXPECT_THAT(failures_, ElementsAre("taken"));
    FakeShortcuts::answer = {};
}

TEST_F(SessionShortcutsTest, EachDoesWhatItIsFor) {
    settings_.setGlobalShortcuts(true);
    const SessionShortcuts shortcuts(settings_, hooks());
    for (const char* id : {"window", "ask", "run"})
        press(id);
    EXPECT_EQ(started_, 1) << "without a session it can only be started";
    openActive(1);
    press("window");
    EXPECT_FALSE(window_->isVisible());
    press("window");
    EXPECT_TRUE(window_->isVisible());
    final("What is your name?");
    press("ask");
    EXPECT_TRUE(asked(1));
    press("window");
    bool closed = false;
    QObject::connect(window_->controller(), &AIInterviewDetailController::closing, [&closed] { closed = true; });
    press("run");
    EXPECT_TRUE(window_->isVisible() && !closed) << "asked what becomes of its text";
    window_->findChild<CommonTipView*>()->findChildren<QPushButton*>().last()->click();
    EXPECT_TRUE(closed);
    EXPECT_EQ(started_, 1);
}

} // namespace
} // namespace parlowen::testing
