#include <Main/SessionSettings.h>
#include <gmock/gmock.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace parlowen {
namespace {

const LanguageListModel english{135, "英语（美国）", "en-US", "en", "Y"};
const LanguageListModel chinese{128, "中文（简体）", "zh-CN", "zh-Hans", "Z"};
const LanguageListModel spanish{200, "西班牙语", "es-ES", "es", "X"};

class SessionSettingsTest : public ::testing::Test {
protected:
    void SetUp() override { QFile::remove(UserDefaults::defaultPath()); }

    QByteArray storedFile() {
        QFile file(UserDefaults::defaultPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

TEST_F(SessionSettingsTest, CommandLineStandsInAndTheStoredFileStaysAsItWas) {
    {
        UserDefaults defaults;
        Settings stored(defaults);
        stored.setLoginToken("token");
        stored.setAiInterviewType(1);
        stored.setAiLangChinaModel(chinese);
        AIInterviewModel model;
        model.positioname = "Chef";
        stored.setAiInterviewSetModel(model);
    }
    const QByteArray before = storedFile();
    ASSERT_FALSE(before.isEmpty());

    SessionSettings plain;
    plain.applyLanguages({}, {english}, {spanish});
    EXPECT_EQ(plain.settings().aiLangChinaModel(), chinese) << "a stored language counts more than an offered one";
    plain.settings().setAiLangChinaModel(std::nullopt);
    plain.applyLanguages({}, {english}, {spanish});
    EXPECT_EQ(plain.settings().aiLangChinaModel(), english);

    SessionSettings rehearsal;
    CommandLine line;
    line.language = "en-us";
    line.translateTo = "es";
    line.manual = true;
    rehearsal.applyAnswers(line);
    rehearsal.applyLanguages(line, {english}, {spanish});
    rehearsal.settings().setLoginToken("another");
    rehearsal.settings().clearRejectedSignIn();
    EXPECT_EQ(rehearsal.settings().aiInterviewType(), 2);
    EXPECT_EQ(rehearsal.settings().aiLangLeftModel(), english);
    EXPECT_EQ(rehearsal.settings().aiLangRightModel(), spanish);
    EXPECT_EQ(rehearsal.settings().aiInterviewSetModel()->antoAnswerType, 1);
    EXPECT_EQ(rehearsal.settings().aiInterviewSetModel()->positioname, "Chef");
    EXPECT_EQ(storedFile(), before);

    line.headless = true;
    line.manual = false;
    rehearsal.applyAnswers(line);
    EXPECT_EQ(rehearsal.settings().aiInterviewSetModel()->antoAnswerType, 0) << "without a window nobody could ask";
    line.language = "fr-FR";
    line.translateTo.clear();
    rehearsal.applyLanguages(line, {english}, {spanish});
    EXPECT_EQ(rehearsal.settings().aiLangChinaModel()->original_key, "fr-FR") << "the service says what it offers";
}

TEST_F(SessionSettingsTest, AnInterviewKeepsTheLooksThatWereSetInItsWindow) {
    AIInterviewModel model;
    model.positioname = "Chef";
    {
        UserDefaults defaults;
        Settings(defaults).setAiInterviewSetModel(model);
    }
    SessionSettings session;
    CommandLine line;
    line.manual = true;
    session.applyAnswers(line);
    const QByteArray before = storedFile();
    session.storeLooks();
    EXPECT_EQ(storedFile(), before) << "nothing was changed in the window";

    AIInterviewModel grown = *session.settings().aiInterviewSetModel();
    grown.answerFontSize = 20;
    session.settings().setAiInterviewSetModel(grown);
    session.settings().setSessionWindowOpacity(90);
    session.storeLooks();
    UserDefaults defaults;
    const Settings stored(defaults);
    model.answerFontSize = 20;
    EXPECT_EQ(stored.aiInterviewSetModel(), model) << "the size alone, not what the command line asked for";
    EXPECT_EQ(stored.sessionWindowOpacity(), 90);
}

TEST_F(SessionSettingsTest, GarbageInTheStoredFileIsSaidAndLeftAlone) {
    const QString path = UserDefaults::defaultPath();
    QDir().mkpath(QFileInfo(path).path());
    const QByteArray garbage("\x00\xff no settings [\n", 17);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(garbage);
    file.close();

    SessionSettings rehearsal;
    rehearsal.applyAnswers({});
    ASSERT_TRUE(rehearsal.storedProblem());
    EXPECT_TRUE(rehearsal.storedProblem()->contains(path)) << rehearsal.storedProblem()->toStdString();
    EXPECT_TRUE(rehearsal.settings().aiInterviewSetModel());
    EXPECT_EQ(storedFile(), garbage);
}

} // namespace
} // namespace parlowen
