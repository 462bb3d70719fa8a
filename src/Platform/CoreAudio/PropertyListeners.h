#pragma once

#include "AudioServer.h"

#include <Foundation/SerialQueue.h>
#include <condition_variable>
#include <map>
#include <memory>

namespace parlowen {

/// Who listens to which properties, and the thread that tells them. Any thread.
class PropertyListeners {
public:
    PropertyListeners();
    ~PropertyListeners();
    PropertyListeners(const PropertyListeners&) = delete;
    PropertyListeners& operator=(const PropertyListeners&) = delete;

    ListenerToken add(AudioObjectID object, const AudioObjectPropertyAddress& pattern, AudioServer::Listener listener);

    /// False when there is no such registration. After it returns, the listener is not called any more; called by a
    /// listener, after that listener returns.
    bool remove(ListenerToken token);

    /// Tells those who listen when their turn comes, each in one call, of the addresses that fall under its pattern.
    void notify(AudioObjectID object, const std::vector<AudioObjectPropertyAddress>& addresses);

    /// Waits until all that was told so far has been heard. Never call it from a listener.
    void drain();
    std::size_t count() const;

private:
    struct Registry;
    std::shared_ptr<Registry> registry_; // shared with the work on the queue
    SerialQueue queue_;
};

} // namespace parlowen
