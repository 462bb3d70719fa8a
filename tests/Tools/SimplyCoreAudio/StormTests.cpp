#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>
#include <support/SimulatedAudioServer.h>

#include <QCoreApplication>
#include <array>
#include <map>
#include <random>
#include <thread>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;

/// On several threads devices come and go, are looked up, asked and let go of.
TEST(DeviceStormTest, OneWrapperForEachDeviceAndNothingIsLeft) {
    const CapturedSystemLog quiet;
    const auto server = std::make_shared<SimulatedAudioServer>();
    const auto pool = AudioObjectPool::shared(server);
    std::array<std::vector<std::shared_ptr<AudioDevice>>, 4> held;
    const auto storm = [&](unsigned seed) {
        std::minstd_rand random(seed);
        auto& mine = held.at(seed - 1);
        for (int step = 0; step < 4'000; ++step) {
            const std::string uid = "device" + std::to_string(random() % 4);
            const unsigned what = random() % 10;
            if (what == 0)
                server->removeDevice(uid);
            else if (what == 1)
                server->setDevice(sink(uid, uid));
            else if (what == 2)
                SimplyCoreAudio(server).deviceList();
            else if (what < 6)
                mine.clear();
            else if (const auto device = pool->device(server->deviceID(uid))) {
                EXPECT_EQ(pool->lookup(device->objectID()), device);
                mine.push_back(device);
            }
        }
    };
    {
        std::vector<std::jthread> running;
        for (unsigned seed = 1; seed <= held.size(); ++seed)
            running.emplace_back(storm, seed);
    }
    {
        const SimplyCoreAudio simply(server);
        server->drainListeners();
        QCoreApplication::processEvents();
        EXPECT_THAT(simply.hardware()->allKnownDevices(), ::testing::UnorderedElementsAreArray(simply.deviceList()));
        std::map<AudioObjectID, std::shared_ptr<AudioDevice>> wrappers;
        for (const auto& each : held)
            for (const auto& device : each)
                EXPECT_EQ(wrappers.emplace(device->objectID(), device).first->second, device);
    }
    held = {};
    EXPECT_EQ(pool->size(), 0U);
    EXPECT_EQ(server->listenerCount(), 0U);
}

} // namespace
} // namespace parlowen
