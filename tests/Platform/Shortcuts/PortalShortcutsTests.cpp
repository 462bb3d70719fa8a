#include <Shortcuts/PortalShortcuts.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>

#include "support/Testing.h"
#include "support/WaitFor.h"

namespace parlowen::testing {
namespace {

const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

/// The desktop's side: notes what it is asked for and answers as the test says.
class FakePortal : public QDBusVirtualObject {
public:
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
        list.beginArray();
        while (!list.atEnd()) {
            QString id;
            QVariantMap properties;
            list.beginStructure();
            list >> id >> properties;
            list.endStructure();
            offered << id + u'|' + properties["description"].toString() + u'|' +
                           properties["preferred_trigger"].toString();
        }
        list.endArray();
    }

    QStringList calls, offered;
    QString session, refusedCall;
};

class PortalShortcutsTest : public ::testing::Test {
protected:
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
    PortalShortcuts(QDBusConnection("nowhere")).bind({}, [this](const Result<void>& result) {
        bound_.push_back(result.has_value());
    });
    EXPECT_THAT(bound_, ElementsAre(false, false)) << "without a bus, at once";
    startPortal();
    for (const char* refused : {"CreateSession", "BindShortcuts"}) {
        fake_.refusedCall = refused;
        EXPECT_TRUE(bind()) << refused;
        EXPECT_THAT(bound_, ElementsAre(false)) << refused;
    }
}

} // namespace
} // namespace parlowen::testing
