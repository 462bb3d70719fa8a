#include <Foundation/UserDefaults.h>
#include <Network/Settings.h>
#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace parlowen {
namespace {

class SettingsTest : public ::testing::Test {
protected:
    QTemporaryDir directory_;
    UserDefaults defaults_{directory_.filePath("settings.ini")};
    Settings settings_{defaults_};
};

TEST_F(SettingsTest, EveryValueLiesUnderItsOwnKeyAndIsSeenByTheNextStart) {
    const LanguageListModel china{1, "中文", "zh-CN", "zh-Hans", "Z"}, left{2, "英语", "en-US", "en", "Y"},
        right{3, "西语", "es-ES", "es", "X"};
    const AIInterviewModel interview{"工程师", 1, 1, 1, 1, 18};
    settings_.setLoginToken("");
    settings_.setAiInterviewSetModel(interview);
    settings_.setAiInterviewType(3);
    settings_.setAiLangChinaModel(china);
    settings_.setAiLangLeftModel(left);
    settings_.setAiLangRightModel(right);

    UserDefaults nextStart(directory_.filePath("settings.ini"));
    const Settings settings(nextStart);
    EXPECT_EQ(settings.aiInterviewSetModel(), interview);
    EXPECT_EQ(settings.aiInterviewType(), 3);
    EXPECT_EQ(settings.aiLangRightModel(), right);
    EXPECT_EQ(nextStart.data("aiInterviewSetModel"), encodeStrict(interview));
    EXPECT_EQ(nextStart.data("aiLangChinaModel"), encodeStrict(china));
    EXPECT_EQ(nextStart.data("aiLangLeftModel"), encodeStrict(left));
    EXPECT_EQ(nextStart.data("aiLangRightModel"), encodeStrict(right));
    EXPECT_EQ(nextStart.string("aiInterviewType"), "3");
    EXPECT_EQ(nextStart.string("LOGIN_TOKEN"), "");

    QByteArray incomplete = encodeStrict(interview);
    incomplete.replace("\"answerFontSize\":18,", "");
    nextStart.setData("aiInterviewSetModel", incomplete);
    EXPECT_EQ(settings_.aiInterviewSetModel(), std::nullopt);
}

TEST_F(SettingsTest, SigningOutTakesTheUserAndARejectedSignInKeepsAutomaticSignIn) {
    EXPECT_FALSE(settings_.isAutoLogin());
    for (const bool rejected : {true, false}) {
        settings_.setLoginToken("token");
        settings_.setUserInfo(UserBaseModel());
        settings_.setAutoLogin(true);
        settings_.setAiInterviewType(2);
        if (rejected)
            settings_.clearRejectedSignIn();
        else
            settings_.clearSignIn();
        EXPECT_TRUE(!settings_.loginToken() && !settings_.userInfo());
        EXPECT_EQ(settings_.isAutoLogin(), rejected);
        EXPECT_EQ(settings_.aiInterviewType(), 2) << "the interview's settings stay";
    }
}

} // namespace
} // namespace parlowen
