#include <Main/LocalService.h>
#include <Main/SessionSignIn.h>
#include <Network/ApiBase.h>
#include <Page/AIInterviewPages/LanguageListViewController.h>

#include <QPainter>
#include <QPdfWriter>

#include "Page/AIInterviewPages/SettingsRig.h"

namespace parlowen {
namespace {

using testing::waitFor;

/// The pages against the real service.
class SettingsServiceTest : public SettingsRig {
protected:
    /// Starts the service and signs in.
    void start() {
        settings_.remove("fuwuqi_key");
        std::optional<Result<LocalService::Access>> access;
        service_.start([&access](const auto& result) { access = result; });
        ASSERT_TRUE(waitFor([&access] { return access.has_value(); }, 40'000) && *access);
        ApiBase::setBuiltIn((*access)->baseUrl);
        http_.setLocalTrust((*access)->trust);
        SessionSignIn signIn(http_, settings_, (*access)->trust);
        std::optional<Result<void>> signedIn;
        signIn.run([&signedIn](const Result<void>& result) { signedIn = result; });
        ASSERT_TRUE(waitFor([&signedIn] { return signedIn.has_value(); }) && *signedIn);
    }

    LocalService service_{{PARLOWEN_BINARY_DIR "/bin/parlowen-service", directory_.filePath("data"), 0}};
};

TEST_F(SettingsServiceTest, TheLanguagesComeAndOfTwoResumesTheOneThatIsNotTooLargeIsBound) {
    start();
    LanguageListViewController picker(http_);
    picker.show();
    EXPECT_TRUE(waitFor([&picker] { return !picker.countryModels().empty(); }));
    open();
    flow().fileService = [this] { return FileService::builtIn(http_.baseUrl(), http_.localTrust()); };
    const QString path = directory_.filePath("简历.pdf");
    {
        QPdfWriter writer(path);
        QPainter(&writer).drawText(400, 400, "Senior engineer who led the payments team at Acme");
    }
    ASSERT_TRUE(QFile::resize(path, 20'000'000));
    EXPECT_EQ(outcomeOf(path), "上传成功|文件 简历.pdf 已成功上传");
    const auto bound = [this] { return settings_.userInfo()->resume.value_or(UserResumeInfo()).resume_name; };
    EXPECT_TRUE(waitFor([&] { return bound() == "简历.pdf"; }));
    EXPECT_EQ(outcomeOf(file("big.pdf", 40'000'000)), "上传失败|");
    EXPECT_EQ(card().title()->text(), "big.pdf 上传失败：文件超过 32 MB，请压缩后再上传") << "the service's own words";
    EXPECT_EQ(card().updateLabel()->text(), "已选择文件：简历.pdf") << "which the account still holds";
}

} // namespace
} // namespace parlowen
