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

/// The settings page and the language picker against the real service, signed in.
class SettingsServiceTest : public SettingsRig {
protected:
    SettingsServiceTest() { settings_.remove("fuwuqi_key"); }

    void signIn() {
        std::optional<Result<LocalService::Access>> started;
        service_.start([&started](const auto& result) { started = result; });
        ASSERT_TRUE(waitFor([&started] { return started.has_value(); }, 40'000));
        ASSERT_TRUE(*started) << started->error().toStdString();
        ApiBase::setBuiltIn((*started)->baseUrl);
        http_.setLocalTrust((*started)->trust);
        SessionSignIn signIn(http_, settings_, (*started)->trust);
        std::optional<Result<void>> signedIn;
        signIn.run([&signedIn](const Result<void>& result) { signedIn = result; });
        ASSERT_TRUE(waitFor([&signedIn] { return signedIn.has_value(); }));
        ASSERT_TRUE(*signedIn) << signedIn->error().toStdString();
    }
    /// A résumé of one line, with as many bytes behind it as make it that long.
    QString resume(const QString& name, qint64 size) const {
        QString path = directory_.filePath(name);
        {
            QPdfWriter writer(path);
            QPainter(&writer).drawText(400, 400, "Senior engineer who led the payments team at Acme");
        }
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite) && file.resize(qMax(size, file.size())));
        return path;
    }
    QString outcomeOf(const QString& path) {
        alerts_.clear();
        dragOver({path});
        drop();
        EXPECT_TRUE(waitFor([this] { return !alerts_.isEmpty(); }, 60'000));
        return alerts_.join(' ');
    }

    LocalService service_{{PARLOWEN_BINARY_DIR "/bin/parlowen-service", directory_.filePath("data"), 0}};
};

TEST_F(SettingsServiceTest, AResumeOfTwentyMegabytesIsBoundAndOneThatIsTooLargeIsNot) {
    signIn();
    open();
    flow().fileService = [this] { return FileService::builtIn(http_.baseUrl(), http_.localTrust()); };
    EXPECT_EQ(outcomeOf(resume("简历.pdf", 20'000'000)), "上传成功|文件 简历.pdf 已成功上传");
    ASSERT_TRUE(waitFor([this] { return settings_.userInfo().has_value(); }));
    EXPECT_EQ(settings_.userInfo()->resume.value_or(UserResumeInfo()).resume_name, "简历.pdf");
    EXPECT_TRUE(outcomeOf(resume("big.pdf", 40'000'000)).startsWith("上传失败|")) << alerts_.join(' ').toStdString();
    EXPECT_EQ(card().title()->text(), "big.pdf 上传失败：文件可能太大（40.0 MB）");
    EXPECT_EQ(card().updateLabel()->text(), "已选择文件：简历.pdf") << "which the account still holds";
}

TEST_F(SettingsServiceTest, ThePickerShowsTheLanguagesOfTheService) {
    signIn();
    LanguageListViewController picker(http_);
    picker.show();
    ASSERT_TRUE(waitFor([&picker] { return !picker.countryModels().empty(); }));
    EXPECT_TRUE(std::ranges::any_of(picker.countryModels(), [](const LanguageListModel& language) {
        return language.original_key == "en-US" && language.name == "英语（美国）";
    }));
}

} // namespace
} // namespace parlowen
