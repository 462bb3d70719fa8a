#include <Tools/MicroManagement.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::ElementsAre;

/// What is shown, logged and asked for, in order.
QStringList check(AVAuthorizationStatus status) {
    QStringList events;
    const ConsoleLogCapture log([&events](const QString& line) { events << "log " + line; });
    MicroManagement::setHooks({[&events](const QString& text) { events << "show " + text; },
                               [status] { return status; }, [&events] { events << "request access"; }});
    MicroManagement::checkMicrophonePermission();
    MicroManagement::setHooks({});
    return events;
}

TEST(MicroManagementTest, SaysWhatIsMissingByTheState) {
    EXPECT_THAT(check(AVAuthorizationStatus::NotDetermined),
                ElementsAre("show 没有麦克风权限", "log 没有麦克风权限", "request access"));
    EXPECT_THAT(check(AVAuthorizationStatus::Restricted), ElementsAre("show 没有授权麦克风", "log 没有授权麦克风"));
    EXPECT_THAT(check(AVAuthorizationStatus::Denied), ElementsAre("log 没有授权", "show 没有授权"));
    EXPECT_THAT(check(AVAuthorizationStatus::Authorized), ElementsAre("log 已经授权"));
}

} // namespace
} // namespace parlowen
