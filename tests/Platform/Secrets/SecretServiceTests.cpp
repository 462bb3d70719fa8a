#include "support/Testing.h"
#include "support/WaitFor.h"
#include <QProcess>
#include <Secrets/SecretService.h>
#include <csignal>
#include <future>

namespace parlowen::testing {
namespace {

using Found = std::optional<QString>;

/// A bus of the test's own, and an unlocked keyring on it.
struct SecretServiceTest : ::testing::Test {
    SecretServiceTest() {
        EXPECT_EQ(SecretService::ofThisDesktop(), nullptr);
        start(bus_, "dbus-daemon", {"--session", "--nofork", "--nopidfile", "--print-address"});
        EXPECT_TRUE(bus_.waitForReadyRead(30'000));
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus_.readLine().trimmed());
        start(keyring_, "gnome-keyring-daemon", {"--foreground", "--unlock", "--components=secrets"});
        keyring_.write("password");
        keyring_.closeWriteChannel();
        EXPECT_TRUE(waitFor(
            [] {
                return send("org.freedesktop.DBus", "/",
                            {"org.freedesktop.DBus.GetNameOwner", "string:org.freedesktop.secrets"});
            },
            30'000));
    }
    ~SecretServiceTest() override {
        for (QProcess* process : {&keyring_, &bus_}) {
            process->kill();
            process->waitForFinished();
        }
    }
    static void start(QProcess& process, const QString& program, const QStringList& arguments) {
        process.start(program, arguments);
        EXPECT_TRUE(process.waitForStarted()) << program.toStdString();
    }
    static bool send(const QString& service, const QString& path, const QStringList& message) {
        QProcess sender;
        sender.start("dbus-send", QStringList{"--session", "--print-reply", "--dest=" + service, path} + message);
        return sender.waitForFinished() && sender.exitCode() == 0;
    }
    static Found found(const QString& owner) {
        const auto secret = SecretService().secret(owner);
        EXPECT_TRUE(secret) << secret.error().toStdString();
        return secret.value_or(Found("no answer"));
    }

    QProcess bus_;
    QProcess keyring_;
};

TEST_F(SecretServiceTest, ASecretIsKeptForItsOwnerAndACallThatHangsCanBeCancelled) {
    const auto service = SecretService::ofThisDesktop();
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(found("a"), Found());
    ASSERT_TRUE(service->keep("a", "一 1"));
    ASSERT_TRUE(service->keep("b", "2"));
    ASSERT_TRUE(service->keep("a", "3"));
    EXPECT_EQ(found("a"), Found("3"));
    service->forget("a");
    EXPECT_EQ(found("a"), Found());
    EXPECT_EQ(found("b"), Found("2"));

    const QString secrets = "/org/freedesktop/secrets";
    ASSERT_TRUE(send("org.freedesktop.secrets", secrets,
                     {"org.freedesktop.Secret.Service.Lock", "array:objpath:" + secrets + "/collection/login"}));
    service->forget("b"); // without a question to the user
    ASSERT_EQ(::kill(static_cast<pid_t>(keyring_.processId()), SIGSTOP), 0);
    auto hanging = std::async(std::launch::async, [&] { return service->secret("b"); });
    EXPECT_EQ(hanging.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    service->cancel();
    EXPECT_FALSE(hanging.get());
    EXPECT_FALSE(service->keep("b", "4"));

    ::kill(static_cast<pid_t>(keyring_.processId()), SIGCONT);
    bus_.kill(); // which ends nobody else
    ASSERT_TRUE(bus_.waitForFinished());
    EXPECT_FALSE(SecretService().secret("b"));
}

} // namespace
} // namespace parlowen::testing
