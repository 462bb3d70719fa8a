#include "ObjectReading.h"

#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <mutex>
#include <thread>

using namespace parlowen;
using namespace parlowen::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr AudioObjectID systemObject = kAudioObjectSystemObject;

/// Registers a listener that writes down what it hears, each call as "object: selector/scope selector/scope".
class Ear {
public:
    Ear(SimulatedAudioServer& server, AudioObjectID object,
        const AudioObjectPropertyAddress& address = kAudioObjectAnyProperty)
        : server_(server)
        , status(server.addPropertyListener(
              object, address,
              [this](AudioObjectID changed, std::span<const AudioObjectPropertyAddress> addresses) {
                  hear(changed, addresses);
                  return OSStatus(0);
              },
              token)) {}

    std::vector<std::string> heard() {
        server_.drainListeners();
        const std::lock_guard lock(mutex_);
        return std::exchange(heard_, {});
    }

private:
    void hear(AudioObjectID object, std::span<const AudioObjectPropertyAddress> addresses) {
        QString call = QString::number(object) + u':';
        for (const auto& address : addresses)
            call += u' ' + fourCCText(address.selector) + u'/' + fourCCText(address.scope);
        const std::lock_guard lock(mutex_);
        heard_.push_back(call.toStdString());
    }

    SimulatedAudioServer& server_;
    std::mutex mutex_;
    std::vector<std::string> heard_;

public:
    ListenerToken token = 0;
    const OSStatus status;
};

class PropertyListening : public ::testing::Test {
protected:
    std::string of(AudioObjectID object, const std::string& rest) { return std::to_string(object) + ": " + rest; }

    SimulatedAudioServer server;
    const AudioObjectID output = server.setDevice(sink("speakers", "Speakers"));
    const AudioObjectID mic = server.setDevice(source("mic", "A Microphone"));
};

TEST_F(PropertyListening, APluggedDeviceIsTold) {
    Ear all(server, systemObject);
    Ear list(server, systemObject, {fourCC("dev#")});
    server.setDevice(source("second", "Second"));
    EXPECT_THAT(all.heard(), ElementsAre("1: dev#/glob ownd/glob"));
    EXPECT_THAT(list.heard(), ElementsAre("1: dev#/glob"));
    server.removeDevice("second");
    EXPECT_THAT(all.heard(), ElementsAre("1: dev#/glob ownd/glob"));
    server.setDefaults("mic", "speakers");
    EXPECT_THAT(all.heard(), ElementsAre("1: dIn /glob"));
    EXPECT_THAT(list.heard(), ElementsAre("1: dev#/glob"));
    server.setDefaults("mic", "");
    EXPECT_THAT(all.heard(), ElementsAre("1: dOut/glob sOut/glob"));
    server.setDefaults("mic", "");
    EXPECT_THAT(all.heard(), IsEmpty());
}

TEST_F(PropertyListening, ADeviceTellsWhatChangesOnIt) {
    Ear all(server, output);
    Ear loudness(server, output,
                 {fourCC("volm"), kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard});
    Ear inputs(server, output,
               {kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeInput, kAudioObjectPropertyElementMain});
    server.renameDevice("speakers", "Loud Speakers");
    EXPECT_THAT(all.heard(), ElementsAre(of(output, "lnam/glob")));
    AudioDeviceRecord changed = sink("speakers", "Loud Speakers");
    changed.running = true;
    changed.output->volume = 0.5F;
    changed.input->mute = true;
    server.setDevice(changed);
    EXPECT_THAT(all.heard(), ElementsAre(of(output, "goin/glob gone/glob mute/inpt volm/outp")));
    EXPECT_THAT(loudness.heard(), ElementsAre(of(output, "volm/outp")));
    EXPECT_THAT(inputs.heard(), ElementsAre(of(output, "mute/inpt")));
    server.notify(output, {fourCC("jack"), fourCC("outp"), 2});
    EXPECT_THAT(all.heard(), ElementsAre(of(output, "jack/outp")));
}

TEST_F(PropertyListening, ARegistrationOutlivesItsDevice) {
    Ear ear(server, mic);
    server.removeDevice("mic");
    EXPECT_THAT(ear.heard(), ElementsAre(of(mic, "livn/glob")));
    Ear late(server, mic);
    EXPECT_EQ(late.status, kAudioHardwareBadObjectError);
    server.setDevice(source("mic", "Back"));
    server.renameDevice("mic", "Again");
    EXPECT_THAT(ear.heard(), ElementsAre(of(mic, "livn/glob"), of(mic, "lnam/glob")));
}

TEST_F(PropertyListening, RefusalsLeaveNothingBehind) {
    server.failAddingListeners(mic, kAudioHardwareIllegalOperationError);
    Ear refused(server, mic);
    EXPECT_EQ(refused.status, kAudioHardwareIllegalOperationError);
    EXPECT_EQ(refused.token, 0U);
    Ear other(server, output);
    EXPECT_EQ(other.status, 0);
    EXPECT_EQ(server.listenerCount(), 1U);
    server.failRemovingListeners(kAudioHardwareUnspecifiedError);
    EXPECT_EQ(server.removePropertyListener(other.token), kAudioHardwareUnspecifiedError);
    EXPECT_EQ(server.listenerCount(), 0U);
    server.clearFaults();
    EXPECT_EQ(server.removePropertyListener(other.token), kAudioHardwareIllegalOperationError);
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

TEST_F(PropertyListening, AListenerMayCallBackAndRemoveItself) {
    std::atomic<int> calls = 0;
    std::string name;
    ListenerToken token = 0;
    const auto held = std::make_shared<int>(1);
    server.addPropertyListener(
        mic, {fourCC("lnam")},
        [&, held](AudioObjectID object, std::span<const AudioObjectPropertyAddress>) {
            ++calls;
            name = text(server, object, fourCC("lnam"));
            setDefault(server, fourCC("dIn "), object);
            return server.removePropertyListener(token);
        },
        token);
    EXPECT_EQ(held.use_count(), 2);
    server.renameDevice("mic", "One");
    server.renameDevice("mic", "Two");
    server.drainListeners();
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(name, ::testing::AnyOf("One", "Two"));
    EXPECT_EQ(value<AudioObjectID>(server, systemObject, {fourCC("dIn ")}), mic);
    EXPECT_EQ(held.use_count(), 1);
}

TEST(PropertyListeningEnd, AListenerMayDropTheServer) {
    std::promise<void> changed, dropped;
    auto server = std::make_shared<SimulatedAudioServer>();
    const std::weak_ptr<SimulatedAudioServer> watch = server;
    ListenerToken token = 0;
    const auto drop = [&](AudioObjectID, std::span<const AudioObjectPropertyAddress>) {
        changed.get_future().wait();
        server.reset();
        dropped.set_value();
        return OSStatus(0);
    };
    server->addPropertyListener(systemObject, {fourCC("dev#")}, drop, token);
    server->setDevice(sink("speakers", "Speakers"));
    changed.set_value();
    dropped.get_future().wait();
    EXPECT_TRUE(watch.expired());
}

} // namespace
