#include <CoreAudio/AudioHardwareService.h>
#include <CoreAudio/PulseAudioServer.h>
#include <Main/AppDelegate.h>
#include <Page/View/SettingFields.h>
#include <PulseAudio/PulseClient.h>
#include <Tools/PopView/CommonTipView.h>
#include <gmock/gmock.h>

#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include "support/CallSound.h"
#include "support/CapturedLog.h"
#include "support/PrivateAudioServer.h"
#include "support/WaitFor.h"
#include "support/WordErrorRate.h"

/// From the setup page through a whole interview and back, against the real service and a private audio server.
namespace parlowen::testing {
namespace {

class PageRunTest : public EitherAudioServer {};
ON_EITHER_AUDIO_SERVER(PageRunTest);

TEST_P(PageRunTest, AnInterviewIsPreparedStartedHeardAndClosedAndTheSetupPageIsBack) {
    const CapturedLog log;
    startServer({QStringLiteral("module-null-sink sink_name=call rate=48000 channels=2")});
    const auto client = PulseClient::shared();
    client->waitUntilKnown(std::chrono::seconds(5));
    AudioHardwareService::install(std::make_shared<PulseAudioServer>(client));
    UserDefaults defaults;
    Settings stored(defaults);
    AIInterviewModel model;
    model.deviceType = 1;
    stored.setAiInterviewSetModel(model);
    stored.setAiInterviewType(1);
    stored.setAiLangChinaModel(std::nullopt);

    CommandLine line;
    line.action = CommandLine::Action::Shell;
    std::optional<int> status;
    AppDelegate run(line, [&status](int ended) { status = ended; });
    run.applicationDidFinishLaunching();
    auto* login = qobject_cast<LoginViewController*>(run.window()->centralWidget());
    ASSERT_NE(login, nullptr);
    QTest::mouseClick(login->controls().localButton, Qt::LeftButton);
    ASSERT_TRUE(waitFor([&run] { return run.mainView() != nullptr; }, 40'000));
    const auto page = [&run] { return qobject_cast<InterviewSettingViewController*>(run.mainView()->page()); };
    ASSERT_TRUE(waitFor([&] { return page() != nullptr; }, 40'000));

    const Speech speech = sampleSpeech(0, 1);
    {
        const PlayedTone tone(daemon->address(), QStringLiteral("call"));
        EXPECT_TRUE(waitFor([&] { return page()->soundStrip()->meter()->litBars() > 6; }, 20'000));
        EXPECT_TRUE(waitFor([&] { return page()->soundStrip()->programPopup()->findText("paplay") > 0; }))
            << "the programs that play are offered";
    }
    const auto question = [&run] { return run.window()->findChild<CommonTipView*>(); };
    QTest::mouseClick(page()->startButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return question() != nullptr; })) << "the service hears no Chinese";
    QTest::mouseClick(question()->sureButton(), Qt::LeftButton);
    EXPECT_EQ(stored.aiLangChinaModel()->original_key, "en-US");
    ASSERT_TRUE(waitFor([&run] { return run.session() && run.session()->window()->isVisible(); }, 20'000));
    EXPECT_FALSE(run.window()->isVisible());
    const AIInterviewDetailController& session = *run.session()->window()->controller();
    ASSERT_TRUE(waitFor([&] { return session.recognition().state == RecognitionStatus::State::Recognizing; }, 40'000));
    const Speaker speaker(speech.sound);
    const auto heard = [&session] {
        std::string text;
        for (const auto& row : session.topArr())
            text += row.sourceText.toStdString() + " ";
        return wordsOf(text);
    };
    const auto said = wordsOf(speech.text);
    EXPECT_TRUE(waitFor([&] { return wordErrors(said, heard()) <= said.size() / 5; }, 60'000)) << heard().size();

    QTest::mouseClick(run.session()->window()->findChild<QToolButton*>("closeButton"), Qt::LeftButton);
    EXPECT_TRUE(waitFor([&run] { return run.window()->isVisible() && run.session() == nullptr; }));
    EXPECT_TRUE(page()->soundStrip()->isListening());
    EXPECT_TRUE(waitFor([&] { return question() == nullptr; })) << "it has been answered";
    EXPECT_FALSE(status);
    run.quit();
    EXPECT_TRUE(waitFor([&status] { return status == 0; }));
}

} // namespace
} // namespace parlowen::testing
