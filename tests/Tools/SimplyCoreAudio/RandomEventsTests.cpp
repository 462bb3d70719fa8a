#include <Tools/SimplyCoreAudio/AudioObjectPool.h>
#include <Tools/SimplyCoreAudio/SimplyCoreAudio.h>
#include <gmock/gmock.h>
#include <support/CapturedSystemLog.h>
#include <support/SimulatedDevices.h>

#include <QCoreApplication>
#include <map>
#include <random>

namespace parlowen {
namespace {

using namespace ::parlowen::testing;

constexpr int steps = 100'000;

/// Calls the layer and lets things happen to the devices at random, and holds wrappers for random times meanwhile.
class RandomEvents {
public:
    void step() {
        using Action = void (RandomEvents::*)();
        static constexpr std::array<std::pair<int, Action>, 7> actions{{{8, &RandomEvents::deviceEvent},
                                                                        {12, &RandomEvents::fault},
                                                                        {16, &RandomEvents::announce},
                                                                        {20, &RandomEvents::facade},
                                                                        {55, &RandomEvents::resolve},
                                                                        {75, &RandomEvents::letGo},
                                                                        {100, &RandomEvents::useDevice}}};
        const int drawn = pick(100);
        const auto isDrawn = [drawn](const auto& action) { return drawn < action.first; };
        (this->*std::find_if(actions.begin(), actions.end(), isDrawn)->second)();
    }

    /// One wrapper for an ID, the one in the pool; nothing else in the pool.
    void expectInvariants() {
        std::map<AudioObjectID, AudioObject*> wrappers;
        for (const auto& device : held_) {
            const auto [entry, isNew] = wrappers.emplace(device->objectID(), device.get());
            ASSERT_EQ(entry->second, device.get()) << "two wrappers for " << device->objectID();
            ASSERT_EQ(pool_->lookup(device->objectID()), device);
        }
        server_->clearFaults(); // an action still to come would go on with what is being waited for
        settle();
        std::set<AudioObjectID> expected;
        for (const auto& [id, wrapper] : wrappers)
            expected.insert(id);
        for (const auto& simply : facades_) {
            for (const auto& device : simply->hardware()->allKnownDevices())
                expected.insert(device->objectID());
        }
        ASSERT_EQ(pool_->size(), expected.size());
    }

    void expectKnownDevicesToBeThePresentOnes() {
        server_->clearFaults();
        const SimplyCoreAudio simply(server_);
        server_->notify(kAudioObjectSystemObject, {fourCC("ownd")});
        server_->drainListeners();
        const auto present = simply.deviceList();
        const auto known = simply.hardware()->allKnownDevices();
        ASSERT_EQ(std::set(known.begin(), known.end()), std::set(present.begin(), present.end()));
        ASSERT_EQ(known.size(), present.size());
    }

    void expectNothingLeft() {
        held_.clear();
        facades_.clear();
        server_->clearFaults();
        settle();
        EXPECT_EQ(pool_->size(), 0U);
        EXPECT_EQ(server_->listenerCount(), 0U);
    }

private:
    /// What happened has been told, and what was told has been heard.
    void settle() {
        server_->drainListeners();
        QCoreApplication::processEvents();
    }

    int pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random_); }

    std::string anyUid() { return "device " + std::to_string(pick(8)); }

    /// An ID that exists, existed, or never did; of a device, a stream, a control, a sub-device, the system.
    AudioObjectID anyID() { return pick(3) == 0 ? static_cast<AudioObjectID>(pick(80)) : server_->deviceID(anyUid()); }

    FourCharCode anySelector() {
        static constexpr std::array selectors{fourCC("lnam"), fourCC("uid "), fourCC("ownd"), fourCC("clas"),
                                              fourCC("dev#"), fourCC("dIn "), fourCC("dOut"), fourCC("sOut"),
                                              fourCC("volm"), fourCC("mute"), fourCC("livn"), fourCC("????")};
        return selectors[static_cast<std::size_t>(pick(static_cast<int>(selectors.size())))];
    }

    void deviceEvent() {
        const std::string uid = anyUid();
        const int kind = pick(6);
        if (kind == 0)
            server_->setDevice(pick(2) == 0 ? sink(uid, "Sink " + uid) : source(uid, "Microphone " + uid));
        else if (kind == 1)
            server_->setDevice(combined(uid, "Combined", {anyUid(), anyUid()}));
        else if (kind == 2)
            server_->renameDevice(uid, "Renamed " + std::to_string(pick(1000)));
        else if (kind == 3)
            server_->setDefaults(anyUid(), anyUid());
        else
            server_->removeDevice(uid);
    }

    void fault() {
        const int kind = pick(6);
        if (kind == 0)
            server_->failReads(pick(2) == 0 ? kAudioObjectSystemObject : anyID(), anySelector(),
                               kAudioHardwareUnspecifiedError);
        else if (kind == 1)
            server_->hideProperty(anyID(), anySelector());
        else if (kind == 2)
            server_->failAddingListeners(anyID(), kAudioHardwareIllegalOperationError);
        else if (kind == 3)
            server_->beforeCall(static_cast<std::size_t>(1 + pick(5)),
                                [server = server_.get(), uid = anyUid()] { server->removeDevice(uid); });
        else
            server_->clearFaults();
    }

    void announce() {
        server_->notify(pick(3) == 0 ? kAudioObjectSystemObject : anyID(),
                        {anySelector(), kAudioObjectPropertyScopeGlobal, static_cast<std::uint32_t>(pick(3))});
    }

    void facade() {
        if (facades_.empty() || (facades_.size() < 3 && pick(2) == 0))
            facades_.push_back(std::make_unique<SimplyCoreAudio>(server_));
        else
            facades_.pop_back();
    }

    void resolve() {
        if (pick(20) == 0 && !facades_.empty()) {
            for (const auto& device : pick(2) == 0 ? facades_[0]->deviceList() : facades_[0]->aggregateDeviceList())
                held_.push_back(device);
        } else if (const auto device = pool_->device(anyID())) {
            held_.push_back(device);
        }
    }

    void letGo() {
        if (held_.empty())
            return;
        std::swap(held_[static_cast<std::size_t>(pick(static_cast<int>(held_.size())))], held_.back());
        held_.pop_back();
        if (held_.size() > 40)
            held_.resize(10);
    }

    void useDevice() {
        if (held_.empty())
            return;
        AudioDevice& device = *held_[static_cast<std::size_t>(pick(static_cast<int>(held_.size())))];
        const int kind = pick(7);
        if (kind == 0)
            EXPECT_FALSE(device.deviceName().isNull());
        else if (kind == 1)
            device.deviceUID();
        else if (kind == 2)
            device.isAggregate();
        else if (kind == 3)
            device.makeDefaultInput();
        else if (kind == 4)
            device.makeDefaultOutput();
        else if (kind == 5)
            EXPECT_TRUE(device.classID().has_value()) << "read before the device was made";
        else
            EXPECT_EQ(device.summary()["objectID"].toInteger(), device.objectID());
    }

    std::mt19937 random_{20'261'124};
    std::shared_ptr<SimulatedAudioServer> server_ = std::make_shared<SimulatedAudioServer>();
    std::shared_ptr<AudioObjectPool> pool_ = AudioObjectPool::shared(server_);
    std::vector<std::shared_ptr<AudioDevice>> held_;
    std::vector<std::unique_ptr<SimplyCoreAudio>> facades_;
};

TEST(RandomEventsTest, ThePoolsInvariantsHoldThroughRandomCallsAndEvents) {
    const CapturedSystemLog quiet;
    RandomEvents events;
    for (int i = 1; i <= steps; ++i) {
        events.step();
        if (i % 500 == 0) {
            ASSERT_NO_FATAL_FAILURE(events.expectInvariants()) << "after " << i << " steps";
        }
        if (i % 5000 == 0) {
            ASSERT_NO_FATAL_FAILURE(events.expectKnownDevicesToBeThePresentOnes()) << "after " << i << " steps";
        }
    }
    events.expectNothingLeft();
}

} // namespace
} // namespace parlowen
