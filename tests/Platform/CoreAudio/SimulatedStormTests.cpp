#include "ObjectReading.h"

#include <array>
#include <atomic>
#include <gmock/gmock.h>
#include <random>
#include <thread>

using namespace parlowen;
using namespace parlowen::testing;

namespace {

constexpr std::array selectors{fourCC("clas"), fourCC("ownr"), fourCC("ownd"), fourCC("lnam"), fourCC("uid "),
                               fourCC("dev#"), fourCC("dIn "), fourCC("dOut"), fourCC("sOut"), fourCC("stm#"),
                               fourCC("volm"), fourCC("mute"), fourCC("nsrt"), fourCC("agrp"), fourCC("none")};
constexpr std::array scopes{kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyScopeInput,
                            kAudioObjectPropertyScopeOutput};

/// Calls the server at random, with an event of a device or a fault now and then in between. The same seed does the
/// same.
class Caller {
public:
    Caller(SimulatedAudioServer& server, unsigned seed)
        : server_(server)
        , dice_(seed) {}

    void call() {
        if (below(40) == 0)
            happen();
        const unsigned kind = below(20);
        std::vector<std::byte> data;
        if (kind == 0 && ears_.size() < 10)
            ears_.push_back(std::make_unique<Ear>(server_, object(), address()));
        else if (kind == 1 && !ears_.empty())
            ears_.pop_back();
        else if (kind == 2)
            server_.setPropertyData(object(), address(), {}, propertyData(object()));
        else if (kind == 3)
            readList();
        else if (kind == 4)
            server_.hasProperty(object(), address());
        else
            server_.getPropertyData(object(), address(), {}, data);
    }

private:
    unsigned below(unsigned bound) { return static_cast<unsigned>(dice_() % bound); }
    std::string uid() { return "device" + std::to_string(below(12)); }
    AudioObjectID object() { return below(4) == 0 ? kAudioObjectSystemObject : below(140); }
    AudioObjectPropertyAddress address() {
        return {selectors.at(below(selectors.size())), scopes.at(below(20) == 0 ? 1 + below(2) : 0),
                below(50) == 0 ? 1U : 0U};
    }

    void happen() {
        const unsigned kind = below(9);
        AudioObjectID both = 0;
        if (kind < 2)
            server_.removeDevice(uid());
        else if (kind == 2)
            server_.renameDevice(uid(), "Name " + std::to_string(below(1000)));
        else if (kind == 3)
            server_.setDefaults(uid(), uid());
        else if (kind == 4)
            server_.createAggregateDevice(multiOutput("both", "Both", {"device1", "device2"}), both);
        else if (kind == 5)
            server_.destroyAggregateDevice(server_.deviceID("both"));
        else if (kind == 6)
            spoil();
        else
            server_.setDevice(kind == 7 ? source(uid(), uid()) : sink(uid(), uid()));
    }

    void spoil() {
        server_.clearFaults();
        server_.failReads(object(), address().selector, kAudioHardwareUnspecifiedError);
        server_.hideProperty(object(), address().selector);
        server_.failAddingListeners(object(), kAudioHardwareIllegalOperationError);
        server_.beforeCall(1 + below(5), [this, uid = uid()] { server_.removeDevice(uid); });
    }

    void readList() {
        auto list = deviceList(server_);
        for (const AudioObjectID device : list)
            ids(server_, device, {fourCC("ownd")}, propertyData(below(2) == 0 ? fourCC("aobj") : fourCC("adev")));
        std::sort(list.begin(), list.end());
        EXPECT_EQ(std::adjacent_find(list.begin(), list.end()), list.end()) << "a device is listed twice";
    }

    SimulatedAudioServer& server_;
    std::mt19937 dice_;
    std::vector<std::unique_ptr<Ear>> ears_;
};

TEST(SimulatedStorm, AHundredThousandCallsWhileDevicesComeAndGo) {
    SimulatedAudioServer server;
    std::atomic<std::size_t> heard = 0;
    const auto hear = [&](AudioObjectID object, std::span<const AudioObjectPropertyAddress> addresses) {
        heard += addresses.size();
        std::vector<std::byte> data;
        return server.getPropertyData(object, addresses.front(), {}, data);
    };
    ListenerToken token = 0;
    server.addPropertyListener(kAudioObjectSystemObject, kAudioObjectAnyProperty, hear, token);
    std::vector<std::thread> threads;
    for (const unsigned seed : {1, 2, 3, 4}) {
        threads.emplace_back([&server, seed] {
            Caller caller(server, seed);
            for (int i = 0; i < 26'000; ++i)
                caller.call();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    server.drainListeners();
    EXPECT_GT(heard, 100U);
    EXPECT_GE(server.callCount(), 100'000U);
    EXPECT_EQ(server.listenerCount(), 1U) << "that of this test";
}

} // namespace
