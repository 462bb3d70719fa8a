#include "ObjectReading.h"

#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <thread>

using namespace parlowen;
using namespace parlowen::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

class PropertyListening : public ::testing::Test {
protected:
    std::vector<std::string> heard(Ear& ear) {
        server.drainListeners();
        return ear.heard();
    }

    SimulatedAudioServer server;
    const AudioObjectID output = server.setDevice(sink("speakers", "Speakers"));
    const AudioObjectID mic = server.setDevice(source("mic", "A Microphone"));
};

TEST_F(PropertyListening, EachHearsWhatItAskedFor) {
    Ear system(server, systemObject);
    Ear list(server, systemObject, {fourCC("dev#")});
    server.setDevice(source("second", "Second"));
    EXPECT_THAT(heard(system), ElementsAre("dev#/glob ownd/glob"));
    server.removeDevice("second");
    EXPECT_THAT(heard(system), ElementsAre("dev#/glob ownd/glob"));
    server.setDefaults("mic", "speakers");
    server.setDefaults("mic", "");
    server.setDefaults("mic", "");
    EXPECT_THAT(heard(system), ElementsAre("dIn /glob uIn /glob", "dOut/glob sOut/glob"));
    EXPECT_THAT(heard(list), ElementsAre("dev#/glob", "dev#/glob"));

    Ear all(server, output);
    Ear loudness(server, output,
                 {fourCC("volm"), kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard});
    server.renameDevice("speakers", "Loud Speakers");
    AudioDeviceRecord changed = sink("speakers", "Loud Speakers");
    changed.running = true;
    changed.output->volume = 0.5F;
    changed.input->mute = true;
    server.setDevice(changed);
    EXPECT_THAT(heard(all), ElementsAre("lnam/glob", "goin/glob gone/glob mute/inpt volm/outp"));
    EXPECT_THAT(heard(loudness), ElementsAre("volm/outp"));
    Ear grown(server, mic, {fourCC("volm"), kAudioObjectPropertyScopeOutput});
    server.setDevice(sink("mic", "A Microphone"));
    EXPECT_THAT(heard(grown), ElementsAre("volm/outp")) << "a property that was not there before";
}

TEST_F(PropertyListening, ARegistrationOutlivesItsDeviceAndARefusalLeavesNothing) {
    Ear ear(server, mic);
    server.removeDevice("mic");
    EXPECT_EQ(Ear(server, mic).status, kAudioHardwareBadObjectError);
    server.setDevice(source("mic", "Back"));
    server.renameDevice("mic", "Again");
    EXPECT_THAT(heard(ear), ElementsAre("livn/glob", "livn/glob", "lnam/glob"));
    EXPECT_EQ(server.listenerCount(), 1U);
    EXPECT_EQ(server.removePropertyListener(ear.token), 0);
    EXPECT_EQ(server.removePropertyListener(ear.token), kAudioHardwareIllegalOperationError);
    server.removeDevice("mic");
    EXPECT_THAT(heard(ear), IsEmpty());
}

TEST_F(PropertyListening, RemovingWaitsForTheCallThatIsRunning) {
    std::promise<void> inside, goOn;
    std::atomic<bool> returned = false;
    ListenerToken token = 0;
    server.addPropertyListener(
        output, kAudioObjectAnyProperty,
        [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
            inside.set_value();
            goOn.get_future().wait();
            returned = true;
            return OSStatus(0);
        },
        token);
    server.renameDevice("speakers", "One");
    server.renameDevice("speakers", "Two"); // waits behind the first and must not be told any more
    inside.get_future().wait();
    auto removed = std::async(std::launch::async, [&] {
        server.removePropertyListener(token);
        return returned.load();
    });
    while (server.listenerCount() > 0)
        std::this_thread::yield();
    goOn.set_value();
    EXPECT_TRUE(removed.get());
    server.drainListeners(); // a second call would set the promises again and throw
}

TEST_F(PropertyListening, AListenerMayRemoveItselfAndDropTheServer) {
    std::promise<void> changed, dropped;
    auto held = std::make_shared<SimulatedAudioServer>();
    const std::weak_ptr<SimulatedAudioServer> watch = held;
    ListenerToken token = 0;
    std::atomic<int> calls = 0;
    const auto once = [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
        ++calls;
        return server.removePropertyListener(token);
    };
    server.addPropertyListener(mic, {fourCC("lnam")}, once, token);
    server.renameDevice("mic", "One");
    server.renameDevice("mic", "Two");
    server.drainListeners();
    EXPECT_EQ(calls, 1);
    const auto drop = [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
        changed.get_future().wait();
        held.reset();
        dropped.set_value();
        return OSStatus(0);
    };
    held->addPropertyListener(systemObject, {fourCC("dIn ")}, drop, token);
    held->notify(systemObject, {fourCC("dIn ")});
    changed.set_value();
    dropped.get_future().wait();
    EXPECT_TRUE(watch.expired());
}

} // namespace
