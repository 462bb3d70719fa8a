#include <Main/LocalService.h>
#include <Network/TrustedTls.h>
#include <gmock/gmock.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <csignal>
#include <memory>
#include <unistd.h>
#include <vector>

#include "support/WaitFor.h"

namespace parlowen {
namespace {

using parlowen::testing::holdsFor;
using parlowen::testing::waitFor;

const QString serviceProgram = QStringLiteral(PARLOWEN_BINARY_DIR "/bin/parlowen-service");

class LocalServiceTest : public ::testing::Test {
protected:
    struct Outcome {
        int calls = 0;
        std::optional<LocalService::Access> access;
        QString problem;
    };

    Outcome start(LocalService& service) {
        auto outcome = std::make_shared<Outcome>();
        service.start([outcome](const std::optional<LocalService::Access>& access, const QString& problem) {
            ++outcome->calls;
            outcome->access = access;
            outcome->problem = problem;
        });
        EXPECT_TRUE(waitFor([&outcome] { return outcome->calls > 0; }, 40'000));
        return *outcome;
    }

    QNetworkReply::NetworkError reach(const LocalService::Access& access) {
        QNetworkAccessManager manager;
        const QUrl url(access.baseUrl + QStringLiteral("/operation/version"));
        QNetworkRequest request(url);
        request.setSslConfiguration(sslConfiguration(access.trust, url));
        const std::unique_ptr<QNetworkReply> reply(manager.get(request));
        EXPECT_TRUE(waitFor([&reply] { return reply->isFinished(); }));
        return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid() ? QNetworkReply::NoError
                                                                                    : reply->error();
    }

    /// The service, the one child of this process; 0 when there is none.
    static qint64 childProcess() {
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(::getpid()));
        return children.open(QIODevice::ReadOnly) ? children.readAll().trimmed().toLongLong() : 0;
    }

    QTemporaryDir data;
};

TEST_F(LocalServiceTest, RunsUntilItsOwnerGoes) {
    LocalService::Access access;
    {
        LocalService service({serviceProgram, data.path(), 0});
        const Outcome outcome = start(service);
        ASSERT_TRUE(outcome.access) << outcome.problem.toStdString();
        access = *outcome.access;
        EXPECT_EQ(reach(access), QNetworkReply::NoError);
    }
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(QUrl(access.baseUrl).port()));
    EXPECT_FALSE(socket.waitForConnected(2'000));
}

TEST_F(LocalServiceTest, RunsAgainInTheSamePlaceWhenItIsKilled) {
    LocalService service({serviceProgram, data.path(), 0});
    const Outcome outcome = start(service);
    ASSERT_TRUE(outcome.access) << outcome.problem.toStdString();
    for (int kills = 0; kills < 2; ++kills) {
        const qint64 killed = childProcess();
        ASSERT_GT(killed, 0);
        ASSERT_EQ(::kill(static_cast<pid_t>(killed), SIGKILL), 0);
        ASSERT_TRUE(waitFor([this, killed] { return childProcess() > 0 && childProcess() != killed; }));
        EXPECT_TRUE(waitFor([&] { return reach(*outcome.access) == QNetworkReply::NoError; }));
    }
}

TEST_F(LocalServiceTest, ARestartThatFailsIsTriedAgainAndTold) {
    const QString program = data.filePath(QStringLiteral("service"));
    ASSERT_TRUE(QFile::link(serviceProgram, program));
    LocalService service({program, data.path(), 0});
    std::vector<bool> told;
    service.onServing([&told](bool serves) { told.push_back(serves); });
    const Outcome outcome = start(service);
    ASSERT_TRUE(outcome.access) << outcome.problem.toStdString();
    ASSERT_TRUE(QFile::remove(program));
    ASSERT_EQ(::kill(static_cast<pid_t>(childProcess()), SIGKILL), 0);
    ASSERT_TRUE(waitFor([&told] { return !told.empty(); }));
    EXPECT_TRUE(holdsFor([&told] { return told.size() == 1; }, 400)) << "it cannot be started now";
    ASSERT_TRUE(QFile::link(serviceProgram, program));
    ASSERT_TRUE(waitFor([&told] { return told.size() == 2; }, 40'000));
    EXPECT_EQ(told, (std::vector<bool>{false, true}));
    EXPECT_EQ(reach(*outcome.access), QNetworkReply::NoError);
}

TEST_F(LocalServiceTest, StartsOneWhereAnotherProgramsServiceHasGone) {
    auto first = std::make_unique<LocalService>(LocalService::Place{serviceProgram, data.path(), 0});
    const Outcome running = start(*first);
    ASSERT_TRUE(running.access);
    LocalService second({serviceProgram, data.path(), static_cast<quint16>(QUrl(running.access->baseUrl).port())});
    const Outcome found = start(second);
    ASSERT_TRUE(found.access) << found.problem.toStdString();
    first.reset();
    EXPECT_NE(reach(*found.access), QNetworkReply::NoError);
    second.revive();
    EXPECT_TRUE(waitFor([&] { return reach(*found.access) == QNetworkReply::NoError; }, 40'000));
}

TEST_F(LocalServiceTest, TrustsTheServiceForItsOwnHostAlone) {
    LocalService service({serviceProgram, data.path(), 0});
    const Outcome outcome = start(service);
    ASSERT_TRUE(outcome.access) << outcome.problem.toStdString();
    EXPECT_FALSE(outcome.access->trust.covers(QStringLiteral("localhost")));
    LocalService::Access stranger = *outcome.access;
    stranger.trust = {};
    EXPECT_EQ(reach(stranger), QNetworkReply::SslHandshakeFailedError);
}

TEST_F(LocalServiceTest, UsesTheServiceThatThisUserRunsAlready) {
    LocalService first({serviceProgram, data.path(), 0});
    const Outcome running = start(first);
    ASSERT_TRUE(running.access);
    const auto port = static_cast<quint16>(QUrl(running.access->baseUrl).port());
    LocalService second({serviceProgram, data.path(), port});
    const Outcome found = start(second);
    ASSERT_TRUE(found.access) << found.problem.toStdString();
    EXPECT_EQ(found.access->baseUrl, running.access->baseUrl);
}

TEST_F(LocalServiceTest, TakesAnotherPortWhenAStrangerHasIts) {
    QTcpServer stranger;
    ASSERT_TRUE(stranger.listen(QHostAddress::LocalHost));
    LocalService service({serviceProgram, data.path(), stranger.serverPort()});
    const Outcome outcome = start(service);
    ASSERT_TRUE(outcome.access) << outcome.problem.toStdString();
    EXPECT_NE(QUrl(outcome.access->baseUrl).port(), stranger.serverPort());
    EXPECT_EQ(reach(*outcome.access), QNetworkReply::NoError);
}

TEST_F(LocalServiceTest, SaysWhyThereIsNone) {
    LocalService missing({QString(), data.path(), 0});
    EXPECT_TRUE(start(missing).problem.contains(QStringLiteral("parlowen-service")));

    LocalService other({QStringLiteral("/bin/false"), data.path(), 0});
    EXPECT_TRUE(start(other).problem.contains(QStringLiteral("status 1")));

    QFile garbage(data.filePath(QStringLiteral("parlowen.db")));
    ASSERT_TRUE(garbage.open(QIODevice::WriteOnly));
    garbage.write(QByteArray(5000, 'x'));
    garbage.close();
    LocalService broken({serviceProgram, data.path(), 0});
    const Outcome outcome = start(broken);
    EXPECT_FALSE(outcome.access);
    EXPECT_TRUE(outcome.problem.contains(QStringLiteral("parlowen.db"))) << outcome.problem.toStdString();
}

} // namespace
} // namespace parlowen
