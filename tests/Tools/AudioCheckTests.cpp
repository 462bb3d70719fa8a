#include "RouterFixture.h"

#include <Foundation/BackgroundQueue.h>
#include <Tools/AudioCheck.h>
#include <Tools/ListenCheck.h>
#include <Tools/SessionInput.h>
#include <support/WaitFor.h>

#include <cmath>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(SessionInput, IsWrongWhenItIsOfTheOtherKindOrGivesNothing) {
    using What = InputNotice::What;
    struct Case {
        bool systemAudio;
        InputNotice notice;
        const char* words; ///< none: all is well
    };
    for (const auto& [systemAudio, notice, words] : std::vector<Case>{
             {true, {What::Listening, "Monitor of vorlanOutput 2ch", InputKind::SystemSound}, nullptr},
             {true, {What::Listening, "Monitor of Speakers", InputKind::SystemSound}, "not the loop-back device"},
             {true, {What::Listening, "vorlanOutput 2ch", InputKind::Microphone}, "not the loop-back device"},
             {false, {What::Listening, "Line In", InputKind::Microphone}, nullptr},
             {false, {What::Listening, "Monitor of Speakers", InputKind::SystemSound}, "not a microphone"},
             {false, {What::Silent, "Line In", InputKind::Microphone}, "is silent"},
             {false, {What::SoundAgain, "Line In", InputKind::Microphone}, nullptr},
             {true, {What::ServerLost, {}, InputKind::Microphone}, "the audio server is gone"}}) {
        const auto problem = SessionInput::problem(systemAudio, notice);
        ASSERT_EQ(problem.has_value(), words != nullptr) << notice.name.toStdString();
        if (problem) {
            EXPECT_THAT(problem->text.toStdString(), AllOf(HasSubstr(words), HasSubstr(notice.name.toStdString())));
        }
    }
}

class AudioCheckTest : public RouterFixture {
protected:
    std::string check(AVAuthorizationStatus permission = AVAuthorizationStatus::Authorized) {
        return checkAudio(server, permission).text().toStdString();
    }
    bool isReady() { return checkAudio(server, AVAuthorizationStatus::Authorized).isReady(); }
};

TEST_F(AudioCheckTest, SaysWhatIsThereWhatIsMissingAndWhatToDo) {
    EXPECT_TRUE(isReady());
    EXPECT_EQ(check(), "ok      The audio server answers and shows 6 devices.\n"
                       "ok      The loop-back device \"vorlanOutput 2ch\" is there.\n"
                       "ok      Sound goes to \"Built-in Speakers\".\n"
                       "ok      The default input is \"摄像头麦克风\".\n"
                       "ok      A microphone interview would use \"Built-in MICROPHONE\".\n");
    server->removeDevice("loop");
    EXPECT_THAT(check(), AllOf(HasSubstr("problem There is no loop-back device"), HasSubstr("parlowen --setup-audio")));
    server->setDevice(sink("loop", "vorlanOutput"));
    EXPECT_THAT(check(), HasSubstr("problem The device \"vorlanOutput\" is not taken"));
    EXPECT_FALSE(isReady());
    AudioDeviceRecord muted = sink("loop", "vorlanOutput 2ch");
    muted.input->mute = true;
    server->setDevice(muted);
    EXPECT_THAT(check(), HasSubstr("problem The loop-back device is muted"));
    server->setDevice(sink("loop", "vorlanOutput 2ch"));
    EXPECT_TRUE(isReady());

    server->setDefaults("camera", "loop");
    EXPECT_THAT(check(), HasSubstr("problem Sound goes to the loop-back device alone"));
    server->setDevice(combined("both", "Both", {"headset", "speakers"}));
    server->setDefaults("", "both");
    EXPECT_THAT(check(), AllOf(HasSubstr("problem Sound goes to \"Both\", which combines"),
                               HasSubstr("note    There is no default input.")));
    server->setDefaults("camera", "");
    EXPECT_THAT(check(), HasSubstr("problem There is no default output."));

    for (const char* uid : {"built-in", "camera"})
        server->removeDevice(uid);
    server->setDefaults("headset", "speakers");
    EXPECT_THAT(check(), HasSubstr("in its name, and the default input gives what \"Headset Headphones\" plays."));
    server->setDefaults("line", "speakers");
    EXPECT_THAT(check(AVAuthorizationStatus::Restricted),
                AllOf(Not(HasSubstr("No device has \"microphone\"")), HasSubstr("note    The audio server shows")));
    EXPECT_THAT(check(), HasSubstr("note    No device has \"microphone\" or \"麦克风\" in its name.\n"));
    EXPECT_TRUE(isReady()) << "system audio needs no microphone";
    EXPECT_THAT(check(AVAuthorizationStatus::Denied), HasSubstr("problem The audio server does not let"));
    server->failReads(kAudioObjectSystemObject, fourCC("dev#"), kAudioHardwareNotRunningError);
    EXPECT_THAT(check(), AllOf(HasSubstr("problem No audio server answers."), Not(HasSubstr("loop-back"))));
}

TEST_F(AudioCheckTest, TheSoundCheckLeavesARunningSessionsDevicesAlone) {
    router().setupSystemAudio();
    runDelayed();
    std::optional<ChirpResult> result;
    ListenCheck::make(server, std::make_shared<RouterJournal>(journalPath), [] {
        return ChirpResult();
    })->start([&result](const ChirpResult& told) { result = told; });
    ASSERT_TRUE(waitFor([&result] { return result.has_value(); }));
    waitForBackground();
    EXPECT_THAT(ListenCheck::text(*result).toStdString(), HasSubstr("problem The chirp did not arrive"));
    EXPECT_EQ(defaultInput(), "loop");
    EXPECT_EQ(defaultOutput(), "tqv-Multi-Output_UID");
    server->setDefaults("camera", "tqv-Multi-Output_UID");
    EXPECT_THAT(check(), HasSubstr("problem A session on the call's own sound runs, but what it hears is"));
}

TEST(SoundMatchTest, FindsTheSoundAtItsPlaceAndLevel) {
    const std::vector<float> chirp = makeChirp();
    EXPECT_EQ(chirp.size(), 4000U);
    EXPECT_NEAR(*std::max_element(chirp.begin(), chirp.end()), 0.25, 0.005);
    std::vector<float> recording(20'000);
    for (std::size_t i = 0; i < recording.size(); ++i)
        recording[i] = 0.01F * std::sin(static_cast<float>(i) * 0.9F);
    EXPECT_LT(findSound(chirp, recording).likeness, 0.3) << "another sound";
    for (std::size_t i = 0; i < chirp.size(); ++i)
        recording[12'345 + i] -= chirp[i] / 2;
    const Match match = findSound(chirp, recording);
    EXPECT_EQ(match.position, 12'345U);
    EXPECT_GT(match.likeness, 0.9);
    EXPECT_NEAR(match.gain, 0.5, 0.01);
    EXPECT_EQ(findSound(chirp, std::vector<float>(20'000)).likeness, 0);
    EXPECT_EQ(findSound(chirp, std::vector<float>(100)).likeness, 0);
}

} // namespace
} // namespace parlowen
