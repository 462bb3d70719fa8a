#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "RouterFixture.h"

#include <support/FileSizeLimit.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <csignal>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

using Recovery = RouterJournal::Recovery;

const ProcessIdentity deadProcess{0x7FFFFFFF, "1", "another start of the machine"};

class RouterJournalTest : public RouterFixture {
protected:
    RouterJournal journalOf(const ProcessIdentity& process) { return RouterJournal(journalPath, process); }
    Recovery recover() { return RouterJournal(journalPath).recover(server); }

    /// What a session of a process that died has left.
    void leaveBehind(const ProcessIdentity& process = deadProcess) {
        RouterJournal journal = journalOf(process);
        journal.willSetInput("camera", "loop");
        journal.willMakeMultiOutput();
        journal.willSetOutput("speakers", "tqv-Multi-Output_UID");
        server->setDevice(combined("tqv-Multi-Output_UID", "tqv Multi-Output", {"loop", "speakers"}));
        server->setDefaults("loop", "tqv-Multi-Output_UID");
    }

    QJsonObject content() const {
        QFile file(journalPath);
        return file.open(QFile::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
    }
    void write(const QByteArray& bytes) {
        QDir().mkpath(QFileInfo(journalPath).path());
        QFile file(journalPath);
        ASSERT_TRUE(file.open(QFile::WriteOnly));
        file.write(bytes);
    }
    QStringList files() const { return QDir(QFileInfo(journalPath).path()).entryList(QDir::Files, QDir::Name); }
};

TEST_F(RouterJournalTest, TheFileHoldsWhatIsToBeGivenBackForItsOwnerAlone) {
    RouterJournal journal(journalPath);
    journal.willSetInput("camera", "built-in");
    journal.willSetInput("built-in", "loop");
    EXPECT_FALSE(content().contains("output"));
    journal.willSetOutput(std::nullopt, "headset");
    journal.willMakeMultiOutput();
    EXPECT_EQ(content(),
              (QJsonObject{{"process", ProcessIdentity::current().toJson()},
                           {"input", QJsonObject{{"was", "camera"}, {"set", QJsonArray{"built-in", "loop"}}}},
                           {"output", QJsonObject{{"was", QJsonValue()}, {"set", QJsonArray{"headset"}}}},
                           {"multiOutput", true}}));
    struct stat status {};
    ASSERT_EQ(stat(QFile::encodeName(journalPath).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    ASSERT_EQ(stat(QFile::encodeName(QFileInfo(journalPath).path()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);

    journal.gaveBack({.multiOutput = false});
    EXPECT_EQ(content(), (QJsonObject{{"process", ProcessIdentity::current().toJson()}, {"multiOutput", true}}));
    journal.gaveBack({});
    EXPECT_THAT(files(), IsEmpty());
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(RouterJournalTest, GivesBackWhatADeadProcessLeft) {
    leaveBehind();
    EXPECT_EQ(recover(), Recovery::GaveBack);
    EXPECT_EQ(defaultInput(), "camera");
    EXPECT_EQ(defaultOutput(), "speakers");
    EXPECT_FALSE(multiOutput());
    EXPECT_THAT(takeLog(), ElementsAre("✅ 已恢复上次异常退出前的默认输出设备：Built-in Speakers",
                                       "✅ 已恢复上次异常退出前的默认输入设备：摄像头麦克风",
                                       "🗑️ 已删除上次遗留的聚合设备"));
    EXPECT_THAT(files(), IsEmpty());
    EXPECT_EQ(recover(), Recovery::NothingLeft);
    EXPECT_THAT(takeLog(), IsEmpty());

    leaveBehind();
    server->setDefaults("built-in", "headset");
    EXPECT_EQ(recover(), Recovery::GaveBack);
    EXPECT_EQ(defaultInput() + " " + defaultOutput(), "built-in headset") << "what the user chose since stays";
    EXPECT_FALSE(multiOutput());

    leaveBehind();
    server->removeDevice("speakers");
    server->setDefaults("loop", "tqv-Multi-Output_UID");
    takeLog();
    EXPECT_EQ(recover(), Recovery::GaveBack);
    EXPECT_EQ(takeLog().first(), "⚠️ 上次异常退出前的默认输出设备已不存在：speakers");
    EXPECT_EQ(defaultInput(), "camera");
    EXPECT_FALSE(multiOutput());
    EXPECT_FALSE(journalExists()) << "the server sees to another output";
}

TEST_F(RouterJournalTest, AnAbsentInputIsWaitedForWhileAMicrophoneServes) {
    const auto gone = [](qint64 number) { // since the machine's start
        ProcessIdentity process = ProcessIdentity::current();
        process.pid = deadProcess.pid - number;
        return process;
    };
    for (const bool chosenSince : {false, true}) {
        leaveBehind(gone(1));
        server->removeDevice("camera");
        server->setDefaults("loop", "speakers");
        takeLog();
        EXPECT_EQ(journalOf(gone(2)).recover(server), Recovery::GaveBack);
        EXPECT_EQ(defaultInput(), "built-in");
        EXPECT_THAT(takeLog(), ElementsAre("⚠️ 上次异常退出前的默认输入设备已不存在：camera",
                                           "✅ 暂用的默认输入设备：Built-in MICROPHONE",
                                           "🗑️ 已删除上次遗留的聚合设备"));
        EXPECT_EQ(journalOf(gone(3)).recover(server), Recovery::NothingLeft);
        EXPECT_THAT(takeLog(), ElementsAre("⚠️ 上次异常退出前的默认输入设备已不存在：camera"));
        server->setDevice(source("camera", "摄像头麦克风"));
        server->setDefaults(chosenSince ? "line" : "built-in", "speakers");
        recover();
        EXPECT_EQ(defaultInput(), chosenSince ? "line" : "camera");
        EXPECT_FALSE(journalExists());
    }
}

TEST_F(RouterJournalTest, WhatTheServerChoseWhenItRestartedIsNotTheUsersChoice) {
    leaveBehind();
    server->removeDevice("tqv-Multi-Output_UID");
    server->setDefaults("line", "");
    journalOf({0x7FFFFFFE, "2", "3"}).recover(server);
    EXPECT_EQ(defaultInput(), "camera");
    EXPECT_TRUE(content().contains("output")) << "the server has not chosen yet";
    server->setDefaults("camera", "headset");
    EXPECT_EQ(recover(), Recovery::GaveBack);
    EXPECT_EQ(defaultOutput(), "speakers");
    EXPECT_FALSE(journalExists());

    journalOf(deadProcess).willSetInput("camera", "built-in");
    server->setDefaults("line", "headset");
    recover();
    EXPECT_EQ(defaultInput(), "camera") << "the machine has restarted";
}

TEST_F(RouterJournalTest, WhatCouldNotBeGivenBackIsTriedAgain) {
    leaveBehind();
    server->failReads(kAudioObjectSystemObject, fourCC("dev#"), kAudioHardwareNotRunningError);
    EXPECT_EQ(recover(), Recovery::NoServer);
    EXPECT_THAT(takeLog(), ElementsAre("⚠️ 音频服务没有应答，设备恢复留到下次启动"));
    server->clearFaults();
    server->failWrites(kAudioObjectSystemObject, fourCC("dIn "), kAudioHardwareUnspecifiedError);
    server->failDestroyingAggregates(kAudioHardwareUnspecifiedError);
    journalOf({0x7FFFFFFE, "2", "3"}).recover(server);
    EXPECT_EQ(takeLog().size(), 3);
    EXPECT_EQ(defaultOutput(), "speakers");
    server->clearFaults();
    journalOf({0x7FFFFFFE, "2", "3"}).willSetInput("loop", "line");
    EXPECT_EQ(content()["input"].toObject(), (QJsonObject{{"was", "camera"}, {"set", QJsonArray{"loop", "line"}}}))
        << "the session of that process goes on with it";
    EXPECT_EQ(recover(), Recovery::GaveBack);
    EXPECT_EQ(defaultInput(), "camera");
    EXPECT_FALSE(multiOutput());
    EXPECT_FALSE(journalExists());
}

TEST_F(RouterJournalTest, AnotherLivingProcessIsLeftAlone) {
    const ProcessIdentity other = ProcessIdentity::of(getppid());
    leaveBehind(other);
    const QJsonObject before = content();
    EXPECT_EQ(recover(), Recovery::OtherSessionRuns);
    EXPECT_THAT(takeLog(), ElementsAre("⚠️ 另一个正在运行的程序正在使用音频设备，未作恢复"));
    router().switchInput(true);
    router().switchInput(false);
    router().restoreDevices();
    EXPECT_EQ(log.linesWith("⚠️ 另一个正在运行的程序已切换音频设备").size(), 1) << "said once";
    EXPECT_EQ(content(), before);
}

TEST_F(RouterJournalTest, AProcessLivesUntilItEndsAndHasItsOwnStart) {
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    const ProcessIdentity identity = ProcessIdentity::of(child);
    EXPECT_TRUE(identity.isAlive());
    ProcessIdentity reused = identity;
    reused.started += "0";
    EXPECT_FALSE(reused.isAlive()) << "another process with the same number";
    kill(child, SIGKILL);
    siginfo_t ended{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(identity.isAlive()) << "killed, but not waited for";
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_FALSE(identity.isAlive());
}

TEST_F(RouterJournalTest, AFileThatCannotBeUnderstoodIsKeptAsideAndOnlyTheMultiOutputGoes) {
    leaveBehind();
    QFile file(journalPath);
    ASSERT_TRUE(file.open(QFile::ReadOnly));
    const QByteArray whole = file.readAll();
    QByteArray wrongType = whole;
    wrongType.replace("\"set\": [", "\"set\": [7, ");
    for (const QByteArray& bytes :
         {QByteArray(), whole.left(whole.size() / 2), QByteArray("[]"), QByteArray("\0\xFF\x80", 3), wrongType}) {
        write(bytes);
        server->setDevice(combined("tqv-Multi-Output_UID", "tqv Multi-Output", {"loop", "speakers"}));
        server->setDefaults("loop", "headset");
        takeLog();
        EXPECT_EQ(recover(), Recovery::GaveBack);
        const QStringList lines = takeLog();
        ASSERT_EQ(lines.size(), 2) << bytes.toStdString();
        EXPECT_THAT(lines[0].toStdString(), StartsWith("⚠️ 音频设备记录已损坏，保留为 "));
        EXPECT_EQ(defaultInput(), "loop");
        EXPECT_EQ(defaultOutput(), "headset");
        EXPECT_FALSE(multiOutput());
        ASSERT_EQ(files().size(), 1);
        QFile kept(QFileInfo(journalPath).dir().filePath(files()[0]));
        ASSERT_TRUE(kept.open(QFile::ReadOnly));
        EXPECT_EQ(kept.readAll(), bytes);
        EXPECT_TRUE(kept.remove());
    }
}

TEST_F(RouterJournalTest, OnAFullDiskTheSessionGoesOnAndTheOldFileStaysWhole) {
    RouterJournal journal(journalPath);
    journal.willSetInput("camera", "loop");
    const QJsonObject before = content();
    {
        const FileSizeLimit full(0);
        journal.willSetOutput("speakers", "headset");
    }
    EXPECT_EQ(content(), before);
    EXPECT_EQ(files().size(), 1);
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_THAT(log.lines()[0].toStdString(), HasSubstr("音频设备记录无法写入"));
    journal.willSetOutput("speakers", "headset");
    EXPECT_TRUE(content().contains("output")) << "what could not be written is written with the next note";
    journal.gaveBack({});
    const FileSizeLimit full(0);
    router().setupSystemAudio();
    EXPECT_EQ(defaultInput(), "loop");
}

} // namespace
} // namespace parlowen
