#include <Shortcuts/X11Shortcuts.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include <QProcess>

#include "support/Testing.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

/// An X server of its own, whose keys soon repeat themselves, with somebody at its keyboard.
class X11ShortcutsTest : public ::testing::Test {
protected:
    X11ShortcutsTest() {
        server_.start("Xvfb", {"-displayfd", "1", "-screen", "0", "320x200x24", "-nolisten", "tcp", "-noreset",
                               "-ardelay", "60", "-arinterval", "20"});
        EXPECT_TRUE(server_.waitForReadyRead());
        display_ = ":" + server_.readLine().trimmed();
        keyboard_ = xcb_connect(display_.constData(), nullptr);
        symbols_ = xcb_key_symbols_alloc(keyboard_);
    }
    ~X11ShortcutsTest() override {
        xcb_key_symbols_free(symbols_);
        xcb_disconnect(keyboard_);
        server_.kill();
        server_.waitForFinished();
    }
    void send(const std::vector<xcb_keysym_t>& symbols, std::uint8_t type) {
        for (const xcb_keysym_t symbol : symbols) {
            xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols_, symbol);
            xcb_test_fake_input(keyboard_, type, *codes, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
            std::free(codes);
        }
        xcb_flush(keyboard_);
    }
    void press(const std::vector<xcb_keysym_t>& symbols) {
        send(symbols, XCB_KEY_PRESS);
        send({symbols.rbegin(), symbols.rend()}, XCB_KEY_RELEASE);
    }
    std::unique_ptr<X11Shortcuts> bind(const std::vector<GlobalShortcut>& shortcuts) {
        auto made = std::make_unique<X11Shortcuts>(display_);
        QObject::connect(made.get(), &GlobalShortcuts::activated, [this](const QString& id) { heard_ << id; });
        made->bind(shortcuts, [this](const Result<void>& result) { bound_ = result; });
        return made;
    }

    static constexpr xcb_keysym_t control = 0xFFE3, alt = 0xFFE9, numLock = 0xFF7F;
    QProcess server_;
    QByteArray display_;
    xcb_connection_t* keyboard_ = nullptr;
    xcb_key_symbols_t* symbols_ = nullptr;
    QStringList heard_;
    Result<void> bound_;
};

TEST_F(X11ShortcutsTest, TheirKeysAreHeardOnceWhateverLockIsOnAndNoOthers) {
    const auto shortcuts = bind({{"window", "", 'h'}, {"ask", "", 'a'}});
    ASSERT_TRUE(bound_);
    press({control, 'h'});
    press({alt, 'a'});
    press({numLock});
    press({control, alt, 'a'});
    press({numLock});
    press({control, alt, 'b'});
    press({control, alt, 'h'});
    EXPECT_TRUE(waitFor([this] { return heard_.contains("window"); }));
    EXPECT_THAT(heard_, ElementsAre("ask", "window"));
    heard_.clear();
    send({control, alt, 'a'}, XCB_KEY_PRESS); // and is held
    EXPECT_TRUE(waitFor([this] { return !heard_.isEmpty(); }));
    EXPECT_TRUE(holdsFor([this] { return heard_.size() == 1; }, 400));
    send({'a'}, XCB_KEY_RELEASE);
    send({'a'}, XCB_KEY_PRESS);
    EXPECT_TRUE(waitFor([this] { return heard_.size() == 2; }));
}

TEST_F(X11ShortcutsTest, WhatAnotherProgramHoldsStaysItsOwnAndWhatGoesIsFree) {
    auto first = bind({{"first", "", 'h'}});
    ASSERT_TRUE(bound_);
    const auto second = bind({{"free", "", 'a'}, {"second", "", 'h'}});
    EXPECT_FALSE(bound_);
    EXPECT_TRUE(bound_.error().contains("Ctrl+Alt+H"));
    press({control, alt, 'a'});
    press({control, alt, 'h'});
    EXPECT_TRUE(waitFor([this] { return !heard_.isEmpty(); }));
    EXPECT_THAT(heard_, ElementsAre("first"));
    first.reset();
    const auto third = bind({{"third", "", 'h'}});
    EXPECT_TRUE(bound_);
    display_ = ":none";
    bind({});
    EXPECT_FALSE(bound_) << "where there is no server";
}

} // namespace
} // namespace parlowen::testing
