#include "AudioObjectPool.h"

#include "AudioDevice.h"
#include "PropertyAccess.h"

#include <mutex>
#include <utility>

namespace parlowen {

AudioObject::AudioObject(std::shared_ptr<AudioObjectPool> pool, AudioObjectID objectID)
    : pool_(std::move(pool))
    , objectID_(objectID) {}

AudioObject::~AudioObject() { pool_->removeDead(objectID_); }

AudioServer& AudioObject::server() const { return *pool_->server(); }

std::optional<QString> AudioObject::stringProperty(FourCharCode selector) const {
    return PropertyAccess::string(server(), objectID_, PropertyAccess::global(selector));
}

std::optional<FourCharCode> AudioObject::classID() const {
    {
        const std::lock_guard lock(mutex_);
        if (classID_)
            return classID_;
    }
    const std::optional<FourCharCode> read =
        PropertyAccess::integer(server(), objectID_, PropertyAccess::global(fourCC("clas")));
    const std::lock_guard lock(mutex_);
    classID_ = read;
    return read;
}

std::shared_ptr<AudioObject> AudioObject::owningObject() const {
    {
        const std::lock_guard lock(mutex_);
        if (owningObject_)
            return owningObject_;
    }
    const AudioObjectPropertyAddress address = PropertyAccess::global(fourCC("ownr"));
    if (!server().hasProperty(objectID_, address))
        return nullptr;
    const std::optional<std::uint32_t> owner = PropertyAccess::integer(server(), objectID_, address);
    std::shared_ptr<AudioObject> found = owner && *owner != objectID_ ? pool_->object(*owner) : nullptr;
    const std::lock_guard lock(mutex_);
    owningObject_ = found;
    return found;
}

std::shared_ptr<AudioDevice> AudioObject::owningDevice() const {
    return std::dynamic_pointer_cast<AudioDevice>(owningObject());
}

std::shared_ptr<AudioObjectPool> AudioObjectPool::shared(const std::shared_ptr<AudioServer>& server) {
    // Never destroyed: wrappers may still go while static objects do.
    static auto* const pools = new PerServer<AudioObjectPool>;
    return pools->of(server);
}

AudioObjectPool::AudioObjectPool(std::shared_ptr<AudioServer> server)
    : server_(std::move(server)) {}

std::shared_ptr<AudioObject> AudioObjectPool::lookup(AudioObjectID objectID) const {
    const std::shared_lock lock(mutex_);
    const auto entry = pool_.find(objectID);
    return entry == pool_.end() ? nullptr : entry->second.lock();
}

std::shared_ptr<AudioDevice> AudioObjectPool::device(AudioObjectID objectID) {
    if (const std::shared_ptr<AudioObject> present = lookup(objectID))
        return std::dynamic_pointer_cast<AudioDevice>(present);
    const auto made = std::make_shared<AudioDevice>(shared_from_this(), objectID);
    const std::optional<FourCharCode> classID = made->classID();
    if (!classID || !AudioDevice::isDeviceClass(*classID))
        return nullptr;
    const std::shared_ptr<AudioObject> winner = insert(made);
    if (winner == made)
        made->activate();
    return std::dynamic_pointer_cast<AudioDevice>(winner);
}

std::shared_ptr<AudioObject> AudioObjectPool::object(AudioObjectID objectID) {
    if (std::shared_ptr<AudioObject> present = lookup(objectID))
        return present;
    const auto made = std::make_shared<AudioObject>(shared_from_this(), objectID);
    const std::optional<FourCharCode> classID = made->classID();
    if (!classID)
        return nullptr;
    if (AudioDevice::isDeviceClass(*classID))
        return device(objectID);
    return insert(made);
}

std::size_t AudioObjectPool::size() const {
    const std::shared_lock lock(mutex_);
    return pool_.size();
}

// Two threads may wrap one ID at the same time: the first to get here wins, and the other's wrapper, which has not
// begun to listen, goes. A dying wrapper must not be let go under the lock: its end takes the lock itself.
std::shared_ptr<AudioObject> AudioObjectPool::insert(const std::shared_ptr<AudioObject>& made) {
    const std::unique_lock lock(mutex_);
    std::weak_ptr<AudioObject>& entry = pool_[made->objectID()];
    if (std::shared_ptr<AudioObject> present = entry.lock())
        return present;
    entry = made;
    return made;
}

// The entry may belong to the ID's next wrapper by now: only a dead one goes.
void AudioObjectPool::removeDead(AudioObjectID objectID) {
    const std::unique_lock lock(mutex_);
    const auto entry = pool_.find(objectID);
    if (entry != pool_.end() && entry->second.expired())
        pool_.erase(entry);
}

} // namespace parlowen
