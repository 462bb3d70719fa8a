#include "ObjectReading.h"

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <thread>

using namespace parlowen;
using namespace parlowen::testing;

namespace {

constexpr std::array selectors{fourCC("clas"), fourCC("ownr"), fourCC("ownd"), fourCC("lnam"), fourCC("uid "),
                               fourCC("dev#"), fourCC("dIn "), fourCC("dOut"), fourCC("sOut"), fourCC("stm#"),
                               fourCC("volm"), fourCC("mute"), fourCC("nsrt"), fourCC("agrp"), fourCC("none")};
constexpr std::array scopes{kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyScopeInput,
                            kAudioObjectPropertyScopeOutput};
const std::set<OSStatus> known{0,
                               kAudioHardwareUnspecifiedError,
                               kAudioHardwareUnknownPropertyError,
                               kAudioHardwareBadPropertySizeError,
                               kAudioHardwareIllegalOperationError,
                               kAudioHardwareBadObjectError,
                               kAudioHardwareBadDeviceError,
                               kAudioHardwareUnsupportedOperationError};

/// One source of random calls or events. The same seed gives the same ones.
class Dice {
public:
    explicit Dice(unsigned seed)
        : engine_(seed) {}

    unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
    std::string uid() { return "device" + std::to_string(below(12)); }
    AudioObjectID object() { return below(4) == 0 ? kAudioObjectSystemObject : below(140); }
    AudioObjectPropertyAddress address() {
        return {selectors.at(below(selectors.size())), scopes.at(below(20) == 0 ? 1 + below(2) : 0),
                below(50) == 0 ? 1U : 0U};
    }

private:
    std::mt19937 engine_;
};

/// Lets devices come, change and go, and calls fail, at random.
class Events {
public:
    Events(SimulatedAudioServer& server, unsigned seed)
        : server_(server)
        , dice_(seed) {}

    void happen() {
        switch (dice_.below(9)) {
        case 0:
        case 1:
            return server_.removeDevice(dice_.uid());
        case 2:
            return server_.renameDevice(dice_.uid(), "Name " + std::to_string(dice_.below(1000)));
        case 3:
            return server_.setDefaults(dice_.uid(), dice_.uid());
        case 4:
            return combine();
        case 5:
            return spoil();
        default:
            server_.setDevice(device());
        }
    }

private:
    AudioDeviceRecord device() {
        const std::string uid = dice_.uid();
        AudioDeviceRecord device = dice_.below(3) == 0 ? source(uid, uid) : sink(uid, uid);
        device.input->mute = dice_.below(2) == 0;
        device.running = dice_.below(2) == 0;
        return device;
    }

    void combine() {
        const QStringList parts{QString::fromStdString(dice_.uid()), QString::fromStdString(dice_.uid())};
        AudioObjectID device = 0;
        if (server_.createAggregateDevice(multiOutput("both", "Both", parts), device) != 0)
            server_.destroyAggregateDevice(server_.deviceID("both"));
    }

    void spoil() {
        server_.clearFaults();
        server_.failReads(dice_.object(), dice_.address().selector, kAudioHardwareUnspecifiedError);
        server_.hideProperty(dice_.object(), dice_.address().selector);
        server_.failAddingListeners(dice_.object(), kAudioHardwareIllegalOperationError);
        server_.beforeCall(1 + dice_.below(5), [this, uid = dice_.uid()] { server_.removeDevice(uid); });
    }

    SimulatedAudioServer& server_;
    Dice dice_;
};

/// Calls the server at random, an event now and then in between; everything that it answers must make sense.
class Caller {
public:
    Caller(SimulatedAudioServer& server, unsigned seed)
        : server_(server)
        , dice_(seed)
        , events_(server, seed + 100) {}

    void call() {
        if (dice_.below(40) == 0)
            events_.happen();
        switch (dice_.below(20)) {
        case 0:
            return add();
        case 1:
            return tokens_.size() > 10 ? remove() : add();
        case 2:
            return check(server_.setPropertyData(dice_.object(), dice_.address(), {}, propertyData(dice_.object())));
        case 3:
            return readList();
        case 4:
            server_.hasProperty(dice_.object(), dice_.address());
            return;
        default:
            return read();
        }
    }

    void removeAll() {
        while (!tokens_.empty())
            remove();
    }

    int nonsense = 0;
    std::atomic<std::size_t> heard = 0;

private:
    void check(OSStatus status) { nonsense += known.contains(status) ? 0 : 1; }

    void add() {
        ListenerToken token = 0;
        const auto listener = [this](AudioObjectID object, std::span<const AudioObjectPropertyAddress> addresses) {
            heard += addresses.size();
            std::vector<std::byte> data;
            return server_.getPropertyData(object, addresses.front(), {}, data);
        };
        const bool any = dice_.below(2) == 0;
        check(server_.addPropertyListener(dice_.object(), any ? kAudioObjectAnyProperty : dice_.address(), listener,
                                          token));
        if (token != 0)
            tokens_.push_back(token);
    }

    void remove() {
        check(server_.removePropertyListener(tokens_.back()));
        tokens_.pop_back();
    }

    void read() {
        const AudioObjectPropertyAddress address = dice_.address();
        std::vector<std::byte> data;
        const OSStatus status = server_.getPropertyData(dice_.object(), address, {}, data);
        check(status);
        if (address.selector == fourCC("clas") && status == 0)
            nonsense += data.size() == 4 ? 0 : 1;
    }

    void readList() {
        const auto list = deviceList(server_);
        nonsense += std::set(list.begin(), list.end()).size() == list.size() ? 0 : 1;
        for (const AudioObjectID device : list)
            ids(server_, device, {fourCC("ownd")}, propertyData(dice_.below(2) == 0 ? fourCC("aobj") : fourCC("adev")));
    }

    SimulatedAudioServer& server_;
    Dice dice_;
    Events events_;
    std::vector<ListenerToken> tokens_;
};

TEST(SimulatedStorm, MoreThanAHundredThousandCallsWhileDevicesComeAndGo) {
    SimulatedAudioServer server;
    std::array<Caller, 4> callers{Caller(server, 1), Caller(server, 2), Caller(server, 3), Caller(server, 4)};
    std::vector<std::thread> threads;
    for (Caller& caller : callers) {
        threads.emplace_back([&caller] {
            for (int i = 0; i < 26'000; ++i)
                caller.call();
            caller.removeAll();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::size_t heard = 0;
    for (const Caller& caller : callers) {
        EXPECT_EQ(caller.nonsense, 0);
        heard += caller.heard;
    }
    EXPECT_GT(heard, 1'000U);
    EXPECT_GE(server.callCount(), 100'000U);
    EXPECT_EQ(server.listenerCount(), 0U);
}

} // namespace
