#include <Foundation/UserDefaults.h>
#include <gmock/gmock.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <limits>
#include <thread>
#include <vector>

#include "support/CapturedLog.h"
#include "support/FileSizeLimit.h"

namespace parlowen {
namespace {

using parlowen::testing::CapturedLog;
using parlowen::testing::FileSizeLimit;
using ::testing::SizeIs;

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}

void fill(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QFile::Permissions othersMay(const QString& path) {
    return QFile::permissions(path) & (QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                                       QFile::WriteOther | QFile::ExeOther);
}

class UserDefaultsTest : public ::testing::Test {
protected:
    /// The files that hold exactly these bytes.
    QStringList filesHolding(const QByteArray& bytes) const {
        QStringList found;
        for (const QString& name : QDir(directory_.path()).entryList(QDir::Files)) {
            if (contentOf(directory_.filePath(name)) == bytes)
                found << name;
        }
        return found;
    }

    QTemporaryDir directory_;
    const QString path_ = directory_.filePath("parlowen.ini");
};

TEST_F(UserDefaultsTest, ValuesOfEveryTypeComeBackFromTheFile) {
    const qint64 largest = std::numeric_limits<qint64>::max();
    const QString odd = "@a \"b\" = c; d, \\ 中文\n";
    const QByteArray bytes("{\"name\":\"英语\"}\0\xff", 18);
    {
        UserDefaults defaults(path_);
        defaults.setString("text", odd);
        defaults.setString("empty", QString());
        defaults.setBoolean("on", true);
        defaults.setBoolean("off", false);
        defaults.setInteger("largest", largest);
        defaults.setData("data", bytes);
        defaults.setString("gone", "x");
        defaults.remove("gone");
    }
    const UserDefaults defaults(path_);
    EXPECT_EQ(defaults.string("text"), odd);
    EXPECT_EQ(defaults.string("empty"), QString(""));
    EXPECT_EQ(defaults.boolean("on"), true);
    EXPECT_EQ(defaults.boolean("off"), false);
    EXPECT_EQ(defaults.integer("largest"), largest);
    EXPECT_EQ(defaults.data("data"), bytes);
    EXPECT_EQ(defaults.string("gone"), std::nullopt);
    // Another type than the one asked for is no value.
    EXPECT_EQ(defaults.data("text"), std::nullopt);
    EXPECT_EQ(defaults.string("data"), std::nullopt);
    EXPECT_EQ(defaults.integer("text"), std::nullopt);
    EXPECT_EQ(defaults.boolean("text"), std::nullopt);
}

TEST_F(UserDefaultsTest, EveryReadSeesWhatOthersWrote) {
    UserDefaults one(path_);
    UserDefaults other(path_);
    one.setString("key", "first");
    EXPECT_EQ(other.string("key"), "first");
    for (int i = 0; i < 10; ++i) { // at once, and none changes the file's size
        one.setInteger("number", i);
        EXPECT_EQ(other.integer("number"), i);
    }
    fill(path_, "[General]\nkey=by hand\n");
    EXPECT_EQ(one.string("key"), "by hand");
    EXPECT_EQ(other.string("key"), "by hand");
}

TEST_F(UserDefaultsTest, OnlyTheOwnerMayReadTheFile) {
    const QString nested = directory_.filePath("config/parlowen/parlowen.ini");
    UserDefaults defaults(nested);
    defaults.setString("key", "value");
    EXPECT_EQ(othersMay(nested), QFile::Permissions());
    EXPECT_EQ(othersMay(directory_.filePath("config/parlowen")), QFile::Permissions());

    fill(path_, "[General]\nkey=open to all\n");
    QFile::setPermissions(path_, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    UserDefaults tightened(path_);
    EXPECT_EQ(othersMay(path_), QFile::Permissions());
    tightened.setString("other", "value");
    EXPECT_EQ(othersMay(path_), QFile::Permissions());
    EXPECT_EQ(tightened.string("key"), "open to all");
}

TEST_F(UserDefaultsTest, GarbageIsKeptUnderAnotherNameAndTheStoreStartsEmpty) {
    const std::vector<QByteArray> garbage = {QByteArray("\x7f\x45LF\0\0key=value\n", 16), "[General]\nkey=\xff\xfe\n",
                                             "[General]\nkey=value\nno line of a settings file\n",
                                             "[General]\nkey=\"value that never ends\nother=1\n",
                                             "<html><body>key</body></html>"};
    for (const QByteArray& bytes : garbage) {
        SCOPED_TRACE(bytes.toStdString());
        const QString path = directory_.filePath(QString("%1.ini").arg(qHash(bytes)));
        fill(path, bytes);
        const CapturedLog log;
        UserDefaults defaults(path);
        EXPECT_EQ(defaults.string("key"), std::nullopt);
        defaults.setString("key", "new");
        EXPECT_EQ(defaults.string("key"), "new");

        ASSERT_THAT(log.lines(), SizeIs(1));
        const QStringList kept = filesHolding(bytes);
        ASSERT_THAT(kept, SizeIs(1));
        EXPECT_TRUE(log.lines().front().contains(path)) << log.lines().front().toStdString();
        EXPECT_TRUE(log.lines().front().contains(kept.front())) << log.lines().front().toStdString();
    }
}

TEST_F(UserDefaultsTest, NoHalfFileIsLost) {
    const QByteArray user = "{\"nick_name\":\"小明\",\"type\":2}";
    {
        UserDefaults defaults(path_);
        defaults.setString("LOGIN_TOKEN", "some token, quoted");
        defaults.setData("userInfo", user);
        defaults.setInteger("aiInterviewType", 2);
    }
    const QByteArray whole = contentOf(path_);
    ASSERT_GT(whole.size(), 60);
    for (qsizetype length = 1; length < whole.size(); ++length) {
        QDir(directory_.path()).removeRecursively();
        QDir().mkpath(directory_.path());
        const QByteArray half = whole.first(length);
        fill(path_, half);
        const CapturedLog log;
        UserDefaults defaults(path_);
        ASSERT_THAT(filesHolding(half), SizeIs(1)) << length;
        const bool setAside = contentOf(path_) != half;
        ASSERT_EQ(log.lines().size(), setAside ? 1 : 0) << length;
        ASSERT_EQ(defaults.data("userInfo").value_or(user), user) << length;
    }
}

TEST_F(UserDefaultsTest, ADirectoryInTheFilesPlaceIsMovedAway) {
    QDir().mkpath(path_ + "/inside");
    const CapturedLog log;
    UserDefaults defaults(path_);
    defaults.setString("key", "value");
    EXPECT_EQ(UserDefaults(path_).string("key"), "value");
    EXPECT_THAT(log.lines(), SizeIs(1));
    EXPECT_THAT(QDir(directory_.path()).entryList({"*.unreadable-*"}, QDir::Dirs), SizeIs(1));
}

TEST_F(UserDefaultsTest, AFullDiskLeavesTheOldFileWholeAndSaysSo) {
    for (const rlim_t room : {0, 100}) {
        const QString path = directory_.filePath(QString("full%1.ini").arg(room));
        UserDefaults defaults(path);
        defaults.setString("token", "old");
        const QByteArray before = contentOf(path);
        const QString large(10'000, 'x');
        const CapturedLog log;
        {
            const FileSizeLimit full(room);
            defaults.setString("token", large);
            EXPECT_EQ(contentOf(path), before);
            EXPECT_EQ(defaults.string("token"), large) << "the session goes on with the new value";
            EXPECT_FALSE(defaults.synchronize());
        }
        EXPECT_THAT(log.linesWith("❌ Saving the settings to " + path), SizeIs(2));
        EXPECT_TRUE(defaults.synchronize());
        EXPECT_THAT(log.lines(), SizeIs(2));
        EXPECT_TRUE(contentOf(path).contains(large.toUtf8())) << "saved once there is room again";
    }
}

TEST_F(UserDefaultsTest, ThreadsMayReadAndWriteAtOnce) {
    UserDefaults defaults(path_);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&defaults, thread] {
            for (int i = 10 * thread; i < 10 * thread + 10; ++i) {
                defaults.setInteger(QString::number(i), i);
                EXPECT_EQ(defaults.integer(QString::number(i)), i);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const UserDefaults read(path_);
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(read.integer(QString::number(i)), i);
}

} // namespace
} // namespace parlowen
