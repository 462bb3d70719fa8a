#include "RouterFixture.h"

#include <AVFoundation/ChirpProbe.h>
#include <Tools/AudioCheck.h>

#include <cmath>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class AudioCheckTest : public RouterFixture {
protected:
    std::string check(AVAuthorizationStatus permission = AVAuthorizationStatus::Authorized,
                      Language language = Language::English) {
        return checkAudio(server, language, permission).text(language).toStdString();
    }
};

TEST_F(AudioCheckTest, SaysWhatASessionWouldHearWhatIsMissingAndWhatToDo) {
    EXPECT_EQ(check(), "ok      The audio server answers and shows 5 devices.\n"
                       "ok      A session on the call hears what \"Built-in Speakers\" plays.\n"
                       "ok      A microphone interview hears \"Webcam\".\n");
    router().setupSystemAudio();
    EXPECT_THAT(check(), HasSubstr("shows 5 devices")) << "a session's notes are no devices";
    router().restoreDevices();
    AudioDeviceRecord speakers = sink("speakers", "Built-in Speakers");
    speakers.output->mute = true;
    server->setDevice(speakers);
    AudioDeviceRecord headset = sink("headset", "Headset Headphones");
    headset.running = true;
    server->setDevice(headset);
    EXPECT_THAT(check(), AllOf(HasSubstr("note    That output is muted"), HasSubstr("Unmute it"),
                               HasSubstr("note    Something plays on \"Headset Headphones\"")));
    for (const char* uid : {"built-in", "camera", "line"})
        server->removeDevice(uid);
    EXPECT_THAT(check(), HasSubstr("note    There is no microphone."));
    EXPECT_TRUE(checkAudio(server, Language::English, AVAuthorizationStatus::Restricted).isReady());
    server->setDefaults("", "");
    EXPECT_THAT(check(), HasSubstr("problem There is no default output."));
    EXPECT_THAT(check(AVAuthorizationStatus::Denied, Language::Chinese),
                HasSubstr("问题    音频服务不允许本程序录音。"));
    server->stop();
    EXPECT_THAT(check(), AllOf(HasSubstr("problem No audio server answers."), Not(HasSubstr("devices"))));
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
