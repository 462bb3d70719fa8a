#include "Resumes/ConfinedReader.h"
#include "support/TemporaryDirectory.h"

#include <linux/landlock.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/Testing.h"

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

class Confined : public ::testing::Test {
protected:
    void SetUp() override {
        if (::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) < 1)
            GTEST_SKIP() << "this kernel cannot confine file access";
        writeFile(file, "for the reader");
        writeFile(directory.path() / "other", "for nobody");
    }
    /// What a shell says that runs in place of the file's reader.
    std::string shell(const std::string& script) const {
        return ShellRun("SECRET=known '" PARLOWEN_BINARY_DIR "/bin/parlowen-service' " +
                        std::string(confinedReaderOption) + " '" + file.string() + "' /usr/bin/bash -c '" + script +
                        "' 2>&1")
            .output;
    }

    TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "file";
};

} // namespace

TEST_F(Confined, ReadersSeeTheirFileAloneAndReachNobody) {
    const std::string folder = directory.path().string();
    EXPECT_EQ(shell("read -r line <" + folder + "/file; echo \"$line\""), "for the reader\n");
    EXPECT_THAT(shell(": <" + folder + "/other"), HasSubstr("Permission denied"));
    EXPECT_THAT(shell(": >" + folder + "/new"), HasSubstr("Permission denied"));
    EXPECT_THAT(shell("exec 3<>/dev/tcp/127.0.0.1/9"), HasSubstr("socket: Operation not permitted"));
    EXPECT_THAT(shell("/usr/bin/true & wait"), HasSubstr("fork: Operation not permitted"));
    EXPECT_THAT(shell("kill -0 $PPID"), HasSubstr("Operation not permitted"));
    EXPECT_EQ(shell("ulimit -t; ulimit -f; ulimit -c; ulimit -n; echo \"$SECRET$HOME\""),
              "20\n0\n0\n64\n/nonexistent\n");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_EQ(shell("ulimit -v"), "1048576\n") << "KiB";
#endif
}
