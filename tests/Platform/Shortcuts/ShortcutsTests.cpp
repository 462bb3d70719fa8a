#include "support/Testing.h"
#include "support/WaitFor.h"
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <Shortcuts/PortalShortcuts.h>
#include <Shortcuts/X11Shortcuts.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

namespace parlowen::testing {
namespace {

const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

/// The desktop's side: notes what it is asked for and answers as the test says.
struct FakePortal : QDBusVirtualObject {
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        calls << message.member();
        const QString sender = message.service().mid(1).replace(u'.', u'_');
        QVariantMap options;
        QVariantMap results;
        if (message.member() == "CreateSession") {
            message.arguments().at(0).value<QDBusArgument>() >> options;
            session = portalPath + "/session/" + sender + u'/' + options["session_handle_token"].toString();
            results["session_handle"] = session;
        } else if (message.member() == "BindShortcuts") {
            EXPECT_EQ(message.arguments().at(0).value<QDBusObjectPath>().path(), session);
            readShortcuts(message.arguments().at(1).value<QDBusArgument>());
            message.arguments().at(3).value<QDBusArgument>() >> options;
        } else {
            return message.member() != "Register"; // an older portal
        }
        const QString request = portalPath + "/request/" + sender + u'/' + options["handle_token"].toString();
        connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        QDBusMessage response = QDBusMessage::createSignal(request, "org.freedesktop.portal.Request", "Response");
        response << (message.member() == refusedCall ? 1U : 0U) << results;
        return connection.send(response);
    }
    void readShortcuts(const QDBusArgument& list) {
        for (list.beginArray(); !list.atEnd(); list.endStructure()) {
            QString id;
            QVariantMap properties;
            list.beginStructure();
            list >> id >> properties;
            offered << id + u'|' + properties["description"].toString() + u'|' +
                           properties["preferred_trigger"].toString();
        }
        list.endArray();
    }

    QStringList calls, offered;
    QString session, refusedCall;
};

struct PortalShortcutsTest : ::testing::Test {
    PortalShortcutsTest() {
        bus_.start("dbus-daemon", {"--session", "--nofork", "--nopidfile", "--print-address"});
        EXPECT_TRUE(bus_.waitForReadyRead());
        address_ = QString::fromUtf8(bus_.readLine().trimmed());
        portal_ = QDBusConnection::connectToBus(address_, "portal");
    }
    ~PortalShortcutsTest() override {
        shortcuts_.reset();
        for (const char* name : {"portal", "program"})
            QDBusConnection::disconnectFromBus(name);
        bus_.kill();
        bus_.waitForFinished();
    }
    void startPortal() {
        ASSERT_TRUE(portal_.registerVirtualObject(portalPath, &fake_, QDBusConnection::SubPath));
        ASSERT_TRUE(portal_.registerService("org.freedesktop.portal.Desktop"));
    }
    bool bind() {
        bound_.clear();
        shortcuts_ = std::make_unique<PortalShortcuts>(QDBusConnection::connectToBus(address_, "program"));
        QObject::connect(shortcuts_.get(), &GlobalShortcuts::activated, [this](const QString& id) { heard_ << id; });
        shortcuts_->bind({{"window", "Show the window", 'h'}, {"ask", "Ask", 'a'}},
                         [this](const Result<void>& result) { bound_.push_back(result.has_value()); });
        return waitFor([this] { return !bound_.empty(); });
    }
    void activate(const QString& session, const QString& id) const {
        QDBusMessage signal =
            QDBusMessage::createSignal(portalPath, "org.freedesktop.portal.GlobalShortcuts", "Activated");
        signal << QVariant::fromValue(QDBusObjectPath(session)) << id << qulonglong(1) << QVariantMap();
        portal_.send(signal);
    }

    QProcess bus_;
    QString address_;
    QDBusConnection portal_{QString()};
    FakePortal fake_;
    std::unique_ptr<PortalShortcuts> shortcuts_;
    std::vector<bool> bound_;
    QStringList heard_;
};

TEST_F(PortalShortcutsTest, ShortcutsAreOfferedInASessionHeardAndGivenBack) {
    startPortal();
    ASSERT_TRUE(bind());
    EXPECT_THAT(bound_, ElementsAre(true));
    EXPECT_THAT(fake_.offered, ElementsAre("window|Show the window|CTRL+ALT+h", "ask|Ask|CTRL+ALT+a"));
    activate(portalPath + "/session/other/1", "window");
    activate(fake_.session, "ask");
    ASSERT_TRUE(waitFor([this] { return !heard_.isEmpty(); }));
    EXPECT_THAT(heard_, ElementsAre("ask"));
    shortcuts_.reset();
    EXPECT_TRUE(waitFor([this] { return fake_.calls.contains("Close"); }));
}

TEST_F(PortalShortcutsTest, WhatTheDesktopRefusesOrDoesNotOfferIsAFailure) {
    EXPECT_TRUE(bind()) << "without a portal";
    EXPECT_THAT(bound_, ElementsAre(false));
    EXPECT_FALSE(shortcuts_->isRefused()) << "by its user";
    PortalShortcuts(QDBusConnection("nowhere")).bind({}, [this](const Result<void>& result) {
        bound_.push_back(result.has_value());
    });
    EXPECT_THAT(bound_, ElementsAre(false, false)) << "without a bus, at once";
    startPortal();
    for (const char* refused : {"CreateSession", "BindShortcuts"}) {
        fake_.refusedCall = refused;
        EXPECT_TRUE(bind()) << refused;
        EXPECT_THAT(bound_, ElementsAre(false)) << refused;
        EXPECT_TRUE(shortcuts_->isRefused()) << refused;
    }
}

/// An X server of its own, whose keys soon repeat themselves, with somebody at its keyboard.
struct X11ShortcutsTest : ::testing::Test {
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
    /// Presses the keys of each together and lets go of them.
    void press(const std::vector<std::vector<xcb_keysym_t>>& chords) {
        for (const auto& symbols : chords) {
            send(symbols, XCB_KEY_PRESS);
            send({symbols.rbegin(), symbols.rend()}, XCB_KEY_RELEASE);
        }
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
    press({{control, 'h'}, {alt, 'a'}, {numLock}, {control, alt, 'a'}, {numLock}, {control, alt, 'b'}});
    press({{control, alt, 'h'}});
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
    press({{control, alt, 'a'}, {control, alt, 'h'}});
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
