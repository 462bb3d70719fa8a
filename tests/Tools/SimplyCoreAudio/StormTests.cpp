#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>
#include <support/SimulatedAudioServer.h>

#include <QCoreApplication>
#include <map>
#include <random>
#include <set>
#include <thread>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;

constexpr int rounds = 40, threads = 4, steps = 600;

/// Calls the layer at random, holds wrappers for random times, and lets things happen to the devices meanwhile.
class Caller {
public:
    Caller(std::shared_ptr<SimulatedAudioServer> server, unsigned seed)
        : server_(std::move(server))
        , random_(seed) {}

    void step() {
        const int drawn = pick(100);
        if (drawn < 8)
            happen();
        else if (drawn < 12)
            server_->fail(Call::Read, pick(2) * kAudioHardwareUnspecifiedError, anyID(),
                          pick(2) ? fourCC("clas") : fourCC("lnam"));
        else if (drawn < 20)
            facade_ = facade_ ? nullptr : std::make_unique<SimplyCoreAudio>(server_);
        else if (drawn < 50)
            resolve();
        else if (drawn < 70 && !held.empty())
            held.erase(held.begin() + pick(static_cast<int>(held.size())));
        else if (!held.empty())
            use(*held[static_cast<std::size_t>(pick(static_cast<int>(held.size())))]);
    }

    std::vector<std::shared_ptr<AudioDevice>> held;

private:
    int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
    std::string anyUid() { return "device" + std::to_string(pick(4)); }
    /// An ID that exists, existed, or never did; of a device, a stream, a control, the system.
    AudioObjectID anyID() { return pick(3) == 0 ? static_cast<AudioObjectID>(pick(80)) : server_->deviceID(anyUid()); }

    void happen() {
        const std::string uid = anyUid();
        if (pick(2) == 0)
            server_->removeDevice(uid);
        else
            server_->setDevice(pick(2) == 0 ? sink(uid, uid) : combined(uid, uid, {anyUid(), anyUid()}));
    }

    void resolve() {
        if (pick(20) == 0 && facade_)
            held = pick(2) == 0 ? facade_->deviceList() : facade_->aggregateDeviceList();
        else if (const auto device = AudioObjectPool::shared(server_)->device(anyID()); device && held.size() < 3)
            held.push_back(device);
    }

    void use(AudioDevice& device) {
        EXPECT_EQ(AudioObjectPool::shared(server_)->lookup(device.objectID()).get(), &device);
        device.makeDefaultOutput();
        device.isAggregate();
    }

    const std::shared_ptr<SimulatedAudioServer> server_;
    std::minstd_rand random_;
    std::unique_ptr<SimplyCoreAudio> facade_;
};

TEST(DeviceStormTest, OneWrapperForEachDeviceAndTheKnownOnesAreThoseThatAreThere) {
    const CapturedSystemLog quiet;
    const auto server = std::make_shared<SimulatedAudioServer>();
    const auto pool = AudioObjectPool::shared(server);
    std::vector<std::unique_ptr<Caller>> callers;
    for (unsigned i = 1; i <= threads; ++i)
        callers.push_back(std::make_unique<Caller>(server, i));
    const auto settle = [&] {
        server->clearFaults();
        server->drainListeners();
        QCoreApplication::processEvents();
    };
    for (int round = 0; round < rounds; ++round) {
        {
            std::vector<std::jthread> running;
            for (const auto& caller : callers)
                running.emplace_back([&caller] {
                    for (int i = 0; i < steps; ++i)
                        caller->step();
                });
        }
        settle();
        auto simply = std::make_unique<SimplyCoreAudio>(server);
        server->notify(kAudioObjectSystemObject, {fourCC("ownd")});
        settle();
        const auto known = simply->hardware()->allKnownDevices();
        ASSERT_THAT(known, ::testing::UnorderedElementsAreArray(simply->deviceList()));
        std::map<AudioObjectID, std::shared_ptr<AudioDevice>> wrappers;
        for (const auto& device : known)
            wrappers.emplace(device->objectID(), device);
        for (const auto& caller : callers)
            for (const auto& device : caller->held)
                ASSERT_EQ(wrappers.emplace(device->objectID(), device).first->second, device);
        ASSERT_EQ(pool->size(), wrappers.size());
    }
    callers.clear();
    settle();
    EXPECT_EQ(pool->size(), 0U);
    EXPECT_EQ(server->listenerCount(), 0U);
}

} // namespace
} // namespace parlowen
