#include "AudioObject.h"

#include "AudioDevice.h"
#include "AudioObjectPool.h"
#include "PropertyAccess.h"

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

} // namespace parlowen
