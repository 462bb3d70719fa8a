#pragma once

#include "AudioObjectPool.h"

#include <CoreAudio/AudioServer.h>

#include <QJsonObject>
#include <QString>
#include <atomic>
#include <memory>

namespace parlowen {

/// A device of the audio server. Changes of its properties are posted on the main queue as notifications named
/// "SimplyCoreAudio.device…", with the device as the object.
class AudioDevice : public AudioObject {
public:
    /// For the pool alone, which calls activate() once the device is in it.
    using AudioObject::AudioObject;
    ~AudioDevice() override;

    /// Whether objects of that class are devices: 'adev', 'asub', 'aagg', 'endp' and 'edev' are.
    static bool isDeviceClass(FourCharCode classID);

    /// What the user knows the device by; the name as it was at first when it cannot be read any more.
    QString deviceName() const;
    /// What stays the same for the device for good; none when it has none or it cannot be read.
    std::optional<QString> deviceUID() const;
    /// Whether the device plays or records through other devices: whether it owns one.
    bool isAggregate() const;

    /// Ask for the device as a default. Whether the server did it shows only in the default then.
    void makeDefaultInput();
    void makeDefaultOutput();
    void makeDefaultSystemOutput();

    bool isRegisteredForNotifications() const { return isRegistered_; }

    /// {"objectID", "uid", "name"}: the device as notifications show it, also once it is unplugged.
    QJsonObject summary() const;

    /// Begins to listen, and remembers the name. Called once.
    void activate();

private:
    void startListening();
    void stopListening();
    QString description() const;
    void makeDefault(FourCharCode selector);

    std::atomic<bool> isRegistered_ = false;
    ListenerToken listener_{};
    mutable std::mutex cacheMutex_; ///< of the two below
    std::optional<QString> cachedDeviceName_;
    std::optional<QString> cachedDeviceUID_;
};

class AudioDevice;
class AudioObjectPool;

/// Posts the notification on the main queue with the object, which is kept until then.
void postOnMain(const QString& name, std::shared_ptr<const void> object, const QJsonObject& userInfo = {});

/// What listens to a device's properties: it posts the notification of each that changed. It answers 'bad object' when
/// the device that listens is not the pool's (any more).
AudioServer::Listener deviceListener(const std::weak_ptr<AudioObjectPool>& pool, const AudioDevice* device);

} // namespace parlowen
