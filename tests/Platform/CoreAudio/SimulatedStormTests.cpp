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
        if (kind == 0 || (kind == 1 && tokens_.size() <= 10))
            add();
        else if (kind == 1)
            remove();
        else if (kind == 2)
            server_.setPropertyData(object(), address(), {}, propertyData(object()));
        else if (kind == 3)
            readList();
        else if (kind == 4)
            server_.hasProperty(object(), address());
        else
            server_.getPropertyData(object(), address(), {}, data);
    }

    void removeAll() {
        while (!tokens_.empty())
            remove();
    }

    std::atomic<std::size_t> heard = 0;

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
        if (kind < 2)
            server_.removeDevice(uid());
        else if (kind == 2)
            server_.renameDevice(uid(), "Name " + std::to_string(below(1000)));
        else if (kind == 3)
            server_.setDefaults(uid(), uid());
        else if (kind == 4)
            combine();
        else if (kind == 5)
            spoil();
        else
            server_.setDevice(kind == 6 ? source(uid(), uid()) : sink(uid(), uid()));
    }

    void combine() {
        const QStringList parts{QString::fromStdString(uid()), QString::fromStdString(uid())};
        AudioObjectID device = 0;
        if (server_.createAggregateDevice(multiOutput("both", "Both", parts), device) != 0)
            server_.destroyAggregateDevice(server_.deviceID("both"));
    }

    void spoil() {
        server_.clearFaults();
        server_.failReads(object(), address().selector, kAudioHardwareUnspecifiedError);
        server_.hideProperty(object(), address().selector);
        server_.failAddingListeners(object(), kAudioHardwareIllegalOperationError);
        server_.beforeCall(1 + below(5), [this, uid = uid()] { server_.removeDevice(uid); });
    }

    void add() {
        ListenerToken token = 0;
        const auto listener = [this](AudioObjectID object, std::span<const AudioObjectPropertyAddress> addresses) {
            heard += addresses.size();
            std::vector<std::byte> data;
            return server_.getPropertyData(object, addresses.front(), {}, data);
        };
        server_.addPropertyListener(object(), below(2) == 0 ? kAudioObjectAnyProperty : address(), listener, token);
        if (token != 0)
            tokens_.push_back(token);
    }

    void remove() {
        EXPECT_EQ(server_.removePropertyListener(tokens_.back()), 0);
        tokens_.pop_back();
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
    for (const Caller& caller : callers)
        heard += caller.heard;
    EXPECT_GT(heard, 1'000U);
    EXPECT_GE(server.callCount(), 100'000U);
    EXPECT_EQ(server.listenerCount(), 0U);
}

} // namespace
