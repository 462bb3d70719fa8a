#include <Tools/SimplyCoreAudio/AudioObjectPool.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <gmock/gmock.h>
#include <support/SimulatedDevices.h>

#include <QCoreApplication>
#include <thread>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;

class ConcurrencyTest : public ::testing::Test {
protected:
    ConcurrencyTest() {
        for (const char* uid : {"a", "b", "c"})
            ids.push_back(server->setDevice(sink(uid, uid)));
    }

    /// Runs the work on several threads at once, each with its number.
    static void onThreads(int count, const std::function<void(int)>& work) {
        std::vector<std::thread> threads;
        threads.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            threads.emplace_back(work, i);
        for (std::thread& thread : threads)
            thread.join();
    }

    void TearDown() override {
        server->drainListeners();
        QCoreApplication::processEvents();
        EXPECT_EQ(pool->size(), 0U);
        EXPECT_EQ(server->listenerCount(), 0U);
    }

    std::shared_ptr<SimulatedAudioServer> server = std::make_shared<SimulatedAudioServer>();
    std::shared_ptr<AudioObjectPool> pool = AudioObjectPool::shared(server);
    std::vector<AudioObjectID> ids;
};

TEST_F(ConcurrencyTest, LookupsFindOneWrapperWhileOthersDie) {
    std::atomic<int> wrong = 0;
    onThreads(4, [this, &wrong](int thread) {
        for (int i = 0; i < 3000; ++i) {
            const AudioObjectID id = ids[static_cast<std::size_t>(i + thread) % ids.size()];
            const std::shared_ptr<AudioDevice> held = pool->device(id); // the only holder, often
            if (!held || pool->device(id) != held || pool->lookup(id) != held || held->objectID() != id)
                ++wrong;
            if (i % 16 == 0)
                server->notify(id, {fourCC("lnam")});
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(ConcurrencyTest, TheKnownDevicesFollowTheListHoweverFastItChanges) {
    const SimplyCoreAudio simply(server);
    std::atomic<int> wrong = 0;
    onThreads(4, [this, &wrong](int thread) {
        for (int i = 0; i < 200; ++i) {
            const SimplyCoreAudio another(server);
            if (!another.hardware()->isRegisteredForNotifications() || another.deviceList().size() < ids.size())
                ++wrong;
            const std::string uid = std::to_string(thread) + " " + std::to_string(i % 5);
            server->setDevice(sink(uid, uid));
            if (i % 3 == 0)
                server->removeDevice(uid);
        }
    });
    EXPECT_EQ(wrong, 0);
    server->drainListeners();
    const auto present = simply.deviceList();
    const auto known = simply.hardware()->allKnownDevices();
    EXPECT_THAT(known, ::testing::UnorderedElementsAreArray(present));
}

} // namespace
} // namespace parlowen
