#pragma once

#include <CoreAudio/AudioServer.h>

#include <QString>
#include <memory>
#include <mutex>
#include <optional>

namespace parlowen {

class AudioDevice;
class AudioObjectPool;

/// The wrapper of one object of the audio server. The pool makes it, at most one for an ID at a time; once nobody holds
/// it, it takes itself out of the pool. Any thread.
class AudioObject : public std::enable_shared_from_this<AudioObject> {
public:
    /// For the pool alone.
    AudioObject(std::shared_ptr<AudioObjectPool> pool, AudioObjectID objectID);
    virtual ~AudioObject();
    AudioObject(const AudioObject&) = delete;
    AudioObject& operator=(const AudioObject&) = delete;

    AudioObjectID objectID() const { return objectID_; }
    /// The object's class as a four-character code, read once; none when it cannot be read.
    std::optional<FourCharCode> classID() const;
    /// The object that this one belongs to, looked up once; none when it has none.
    std::shared_ptr<AudioObject> owningObject() const;
    /// The owning object if that is a device.
    std::shared_ptr<AudioDevice> owningDevice() const;

protected:
    AudioServer& server() const;
    const std::shared_ptr<AudioObjectPool>& pool() const { return pool_; }
    std::optional<QString> stringProperty(FourCharCode selector) const;

private:
    const std::shared_ptr<AudioObjectPool> pool_;
    const AudioObjectID objectID_;
    mutable std::mutex mutex_; ///< of the two below
    mutable std::optional<FourCharCode> classID_;
    mutable std::shared_ptr<AudioObject> owningObject_;
};

} // namespace parlowen
