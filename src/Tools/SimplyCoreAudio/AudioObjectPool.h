#pragma once

#include "AudioObject.h"

#include <shared_mutex>
#include <unordered_map>

namespace parlowen {

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

} // namespace parlowen
