#include <QTcpServer>
#include <QTcpSocket>
#include <csignal>
#include <vector>

#include "LocalServiceFixture.h"

namespace parlowen::testing {
namespace {

class LocalServiceTest : public LocalServiceFixture {
protected:
    static Result<LocalService::Access> start(LocalService& service) {
        std::vector<Result<LocalService::Access>> outcomes;
        service.start([&outcomes](const Result<LocalService::Access>& outcome) { outcomes.push_back(outcome); });
        EXPECT_TRUE(waitFor([&outcomes] { return !outcomes.empty(); }, 40'000));
        return outcomes.empty() ? failure("nothing came") : outcomes.front();
    }
    static void killChild() { ::kill(static_cast<pid_t>(childProcesses().value(0, "-2").toInt()), SIGKILL); }
};

TEST_F(LocalServiceTest, RunsUntilItsOwnerGoesForThoseWhoTrustItAlone) {
    LocalService::Access access;
    {
        LocalService service(place());
        const auto started = start(service);
        ASSERT_TRUE(started) << started.error().toStdString();
        access = *started;
        EXPECT_EQ(reach(access), QNetworkReply::NoError);
        EXPECT_EQ(reach({access.baseUrl, {}}), QNetworkReply::SslHandshakeFailedError);
        EXPECT_FALSE(access.trust.covers("localhost"));
    }
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", static_cast<quint16>(QUrl(access.baseUrl).port()));
    EXPECT_FALSE(socket.waitForConnected(2'000));
}

TEST_F(LocalServiceTest, RunsAgainInTheSamePlaceWhenItIsKilledAlsoWhenARestartFails) {
    const QString program = data_.filePath("service");
    ASSERT_TRUE(QFile::link(serviceProgram, program));
    LocalService service({program, data_.path(), 0});
    std::vector<bool> told;
    service.onServing([&told](bool serves) { told.push_back(serves); });
    const auto started = start(service);
    ASSERT_TRUE(started) << started.error().toStdString();
    killChild();
    ASSERT_TRUE(waitFor([&told] { return told.size() == 2; }, 40'000));
    EXPECT_EQ(reach(*started), QNetworkReply::NoError);

    ASSERT_TRUE(QFile::remove(program));
    killChild();
    ASSERT_TRUE(waitFor([&told] { return told.size() == 3; }));
    EXPECT_TRUE(holdsFor([&told] { return told.size() == 3; }, 400)) << "it cannot be started now";
    ASSERT_TRUE(QFile::link(serviceProgram, program));
    ASSERT_TRUE(waitFor([&told] { return told.size() == 4; }, 40'000));
    EXPECT_EQ(told, (std::vector<bool>{false, true, false, true}));
    EXPECT_EQ(reach(*started), QNetworkReply::NoError);
}

TEST_F(LocalServiceTest, TakesAnotherPortWhenAStrangerHasItsAndComesBackToIt) {
    QTcpServer stranger;
    ASSERT_TRUE(stranger.listen(QHostAddress::LocalHost));
    LocalService service(place(stranger.serverPort()));
    const auto started = start(service);
    ASSERT_TRUE(started) << started.error().toStdString();
    const int port = QUrl(started->baseUrl).port();
    EXPECT_NE(port, stranger.serverPort());
    EXPECT_EQ(reach(*started), QNetworkReply::NoError);
    // A stranger that was quicker after the service died is waited for.
    bool serves = true;
    service.onServing([&serves](bool now) { serves = now; });
    killChild();
    ASSERT_TRUE(waitFor([&serves] { return !serves; }));
    QTcpServer quicker;
    ASSERT_TRUE(quicker.listen(QHostAddress::LocalHost, static_cast<quint16>(port)));
    QObject::connect(&quicker, &QTcpServer::newConnection, [&quicker] { quicker.close(); });
    EXPECT_TRUE(waitFor([&serves] { return serves; }, 40'000));
    EXPECT_EQ(reach(*started), QNetworkReply::NoError);
}

TEST_F(LocalServiceTest, SaysWhyThereIsNone) {
    LocalService missing({QString(), data_.path(), 0});
    EXPECT_TRUE(start(missing).error().contains("parlowen-service"));
    LocalService other({"/bin/false", data_.path(), 0});
    EXPECT_TRUE(start(other).error().contains("status 1"));
    LocalService text({data_.path(), data_.path(), 0});
    EXPECT_TRUE(start(text).error().contains("cannot be started"));
    QFile garbage(data_.filePath("parlowen.db"));
    ASSERT_TRUE(garbage.open(QIODevice::WriteOnly) && garbage.write(QByteArray(5000, 'x')) == 5000);
    garbage.close();
    LocalService broken(place());
    EXPECT_TRUE(start(broken).error().contains("parlowen.db"));
}

} // namespace
} // namespace parlowen::testing
