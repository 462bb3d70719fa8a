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

/// Calls the server at random, with an event of a device or a fault now and then in between. The same seed does the
/// same.
class Caller {
public:
    Caller(SimulatedAudioServer& server, unsigned seed)
        : server_(server)
        , dice_(seed) {}

    void call() {
        std::vector<std::byte> data;
        const unsigned kind = below(80);
        if (kind < 2)
            happen();
        else if (kind < 6 && ears_.size() < 10)
            ears_.push_back(std::make_unique<Ear>(server_, object(), address()));
        else if (kind < 10 && !ears_.empty())
            ears_.pop_back();
        else if (kind < 14)
            server_.setPropertyData(object(), address(), {}, propertyData(object()));
        else if (kind < 18)
            readList();
        else
            server_.getPropertyData(object(), address(), {}, data);
    }

private:
    unsigned below(unsigned bound) { return static_cast<unsigned>(dice_() % bound); }
    std::string uid() { return "device" + std::to_string(below(12)); }
    AudioObjectID object() { return below(4) == 0 ? kAudioObjectSystemObject : below(140); }
    AudioObjectPropertyAddress address() {
        return {selectors.at(below(selectors.size())),
                below(20) == 0 ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeGlobal, below(50) / 49};
    }

    void happen() {
        AudioObjectID both = 0;
        switch (below(9)) {
        case 0:
        case 1:
            return server_.removeDevice(uid());
        case 2:
            return server_.renameDevice(uid(), "Name " + std::to_string(below(1000)));
        case 3:
            return server_.setDefaults(uid(), uid());
        case 4:
            server_.createAggregateDevice(multiOutput("both", "Both", {"device1", "device2"}), both);
            return;
        case 5:
            server_.destroyAggregateDevice(server_.deviceID("both"));
            return;
        case 6:
            server_.clearFaults();
            server_.failReads(object(), address().selector, kAudioHardwareUnspecifiedError);
            server_.failAddingListeners(object(), kAudioHardwareIllegalOperationError);
            return server_.beforeCall(1 + below(5), [this, uid = uid()] { server_.removeDevice(uid); });
        case 7:
            server_.setDevice(source(uid(), uid()));
            return;
        default:
            server_.setDevice(sink(uid(), uid()));
        }
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
    Ear ear(server, kAudioObjectSystemObject);
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
    EXPECT_GT(ear.heard().size(), 100U);
    EXPECT_GE(server.callCount(), 100'000U);
    EXPECT_EQ(server.listenerCount(), 1U) << "that of this test";
}

} // namespace
