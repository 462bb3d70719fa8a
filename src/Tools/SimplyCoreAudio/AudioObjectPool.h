#pragma once

#include <CoreAudio/AudioServer.h>

#include <QString>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <unordered_map>

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

/// Keeps one wrapper for each object ID of an audio server for as long as somebody holds it. Lookups from any thread
/// see a consistent pool, also while wrappers are being destroyed.
class AudioObjectPool : public std::enable_shared_from_this<AudioObjectPool> {
public:
    /// The process's pool for that server, made on first use.
    static std::shared_ptr<AudioObjectPool> shared(const std::shared_ptr<AudioServer>& server);

    /// For shared() alone.
    explicit AudioObjectPool(std::shared_ptr<AudioServer> server);

    const std::shared_ptr<AudioServer>& server() const { return server_; }

    /// The wrapper that is in the pool; none for an ID that nobody holds.
    std::shared_ptr<AudioObject> lookup(AudioObjectID objectID) const;
    /// The device of that ID, wrapped now if it was not; none when the object is no device.
    std::shared_ptr<AudioDevice> device(AudioObjectID objectID);
    /// The object of that ID, a device or not; none when its class cannot be read.
    std::shared_ptr<AudioObject> object(AudioObjectID objectID);
    /// How many entries there are.
    std::size_t size() const;

    /// Takes out the entry of a wrapper that is gone. For the wrappers.
    void removeDead(AudioObjectID objectID);

private:
    std::shared_ptr<AudioObject> insert(const std::shared_ptr<AudioObject>& made);

    const std::shared_ptr<AudioServer> server_;
    mutable std::shared_mutex mutex_;
    std::unordered_map<AudioObjectID, std::weak_ptr<AudioObject>> pool_;
};

class AudioServer;

/// One shared T for each audio server, made on first use from the server and kept as long as somebody holds it. A T
/// holds its server, so that no other server can take its place under the same address. Any thread.
template<class T>
class PerServer {
public:
    std::shared_ptr<T> of(const std::shared_ptr<AudioServer>& server) {
        const std::lock_guard lock(mutex_);
        std::erase_if(entries_, [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<T>& entry = entries_[server.get()];
        std::shared_ptr<T> shared = entry.lock();
        if (!shared) {
            shared = std::make_shared<T>(server);
            entry = shared;
        }
        return shared;
    }

private:
    std::mutex mutex_;
    std::map<AudioServer*, std::weak_ptr<T>> entries_;
};

} // namespace parlowen
