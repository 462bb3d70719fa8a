#include <Tools/SessionPresence.h>
#include <gmock/gmock.h>

#include <QDir>
#include <QTemporaryDir>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace parlowen {
namespace {

TEST(SessionPresenceTest, ASecondSessionKnowsOfTheFirstWhicheverEndsFirstAndNotOfAKilledOne) {
    const QTemporaryDir directory;
    const pid_t child = fork();
    if (child == 0) {
        const SessionPresence killed(directory.path());
        std::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_FALSE(QDir(directory.path()).isEmpty()) << "its lock is left";

    auto first = std::make_unique<SessionPresence>(directory.path());
    EXPECT_FALSE(first->isSecond());
    const SessionPresence second(directory.path());
    EXPECT_TRUE(second.isSecond());
    first.reset();
    EXPECT_TRUE(SessionPresence(directory.path()).isSecond()) << "the second is still there";
    EXPECT_FALSE(SessionPresence(QString()).isSecond()) << "a directory that is not there";
}

} // namespace
} // namespace parlowen
