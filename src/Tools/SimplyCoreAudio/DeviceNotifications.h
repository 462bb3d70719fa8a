#pragma once

#include <CoreAudio/AudioServer.h>

#include <QJsonObject>
#include <QString>
#include <memory>

namespace parlowen {

class AudioDevice;
class AudioObjectPool;

/// Posts the notification on the main queue with the object, which is kept until then.
void postOnMain(const QString& name, std::shared_ptr<const void> object, const QJsonObject& userInfo = {});

/// What listens to a device's properties: it posts the notification of each that changed. It answers 'bad object' when
/// the device that listens is not the pool's (any more).
AudioServer::Listener deviceListener(const std::weak_ptr<AudioObjectPool>& pool, const AudioDevice* device);

} // namespace parlowen
