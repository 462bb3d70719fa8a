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
        const int action = pick(100);
        if (action < 8)
            deviceEvent();
        else if (action < 12)
            fault();
        else if (action < 16)
            announce();
        else if (action < 20)
            facade();
        else if (action < 55)
            resolve();
        else if (action < 75)
            letGo();
        else
            useDevice();
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
        switch (pick(6)) {
        case 0:
            server_->setDevice(pick(2) == 0 ? sink(uid, "Sink " + uid) : source(uid, "Microphone " + uid));
            break;
        case 1:
            server_->setDevice(combined(uid, "Combined", {anyUid(), anyUid()}));
            break;
        case 2:
            server_->renameDevice(uid, "Renamed " + std::to_string(pick(1000)));
            break;
        case 3:
            server_->setDefaults(anyUid(), anyUid());
            break;
        default:
            server_->removeDevice(uid);
        }
    }

    void fault() {
        switch (pick(6)) {
        case 0:
            server_->failReads(pick(2) == 0 ? kAudioObjectSystemObject : anyID(), anySelector(),
                               kAudioHardwareUnspecifiedError);
            break;
        case 1:
            server_->hideProperty(anyID(), anySelector());
            break;
        case 2:
            server_->failAddingListeners(anyID(), kAudioHardwareIllegalOperationError);
            break;
        case 3:
            server_->beforeCall(static_cast<std::size_t>(1 + pick(5)),
                                [server = server_.get(), uid = anyUid()] { server->removeDevice(uid); });
            break;
        default:
            server_->clearFaults();
        }
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
        switch (pick(7)) {
        case 0:
            EXPECT_FALSE(device.deviceName().isNull());
            break;
        case 1:
            device.deviceUID();
            break;
        case 2:
            device.isAggregate();
            break;
        case 3:
            device.makeDefaultInput();
            break;
        case 4:
            device.makeDefaultOutput();
            break;
        case 5:
            EXPECT_TRUE(device.classID().has_value()) << "read before the device was made";
            break;
        default:
            EXPECT_EQ(device.summary()["objectID"].toInteger(), device.objectID());
        }
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
