#pragma once

#include <CoreAudio/AudioPropertyData.h>
#include <QStringList>
#include <support/SimulatedAudioServer.h>

namespace parlowen::testing {

inline std::string text(AudioServer& server, AudioObjectID object, FourCharCode selector) {
    std::vector<std::byte> data;
    const OSStatus status = server.getPropertyData(object, {selector}, {}, data);
    return status == 0 ? propertyText(data) : "status " + fourCCText(static_cast<FourCharCode>(status)).toStdString();
}

template<class T>
T value(AudioServer& server, AudioObjectID object, const AudioObjectPropertyAddress& address) {
    std::vector<std::byte> data;
    server.getPropertyData(object, address, {}, data);
    return propertyValue<T>(data).value_or(T());
}

inline std::vector<AudioObjectID> ids(AudioServer& server, AudioObjectID object,
                                      const AudioObjectPropertyAddress& address,
                                      const std::vector<std::byte>& qualifier = {}) {
    std::vector<std::byte> data;
    server.getPropertyData(object, address, qualifier, data);
    return propertyValues<AudioObjectID>(data).value_or(std::vector<AudioObjectID>());
}

/// All devices but the loop-back device, which is always there.
inline std::vector<AudioObjectID> deviceList(AudioServer& server) {
    std::vector<AudioObjectID> list = ids(server, kAudioObjectSystemObject, {fourCC("dev#")});
    std::erase_if(list, [&](AudioObjectID id) { return text(server, id, fourCC("uid ")) == loopbackDevice::uid; });
    return list;
}

inline std::string defaultDevice(AudioServer& server, FourCharCode selector) {
    return text(server, value<AudioObjectID>(server, kAudioObjectSystemObject, {selector}), fourCC("uid "));
}

/// Kept as fourCC("dIn ") and the like; the status of the write.
inline OSStatus setDefault(AudioServer& server, FourCharCode selector, AudioObjectID device) {
    return server.setPropertyData(kAudioObjectSystemObject, {selector}, {}, propertyData(device));
}

/// The description of a multi-output device.
inline QVariantMap multiOutput(const QString& uid, const QString& name, const QStringList& subDevices) {
    QVariantList list;
    for (const QString& subDevice : subDevices)
        list << QVariantMap{{"uid", subDevice}};
    return {{"uid", uid}, {"name", name}, {"subdevices", list}, {"master", subDevices.value(0)}, {"stacked", 1}};
}

/// A listener that writes down what it hears, for as long as it lives.
class Ear {
public:
    Ear(AudioServer& server, AudioObjectID object, const AudioObjectPropertyAddress& address = kAudioObjectAnyProperty)
        : server_(server)
        , status(server.addPropertyListener(
              object, address,
              [this](AudioObjectID, std::span<const AudioObjectPropertyAddress> addresses) {
                  QStringList call;
                  for (const auto& each : addresses)
                      call += fourCCText(each.selector) + u'/' + fourCCText(each.scope);
                  const std::lock_guard lock(mutex_);
                  heard_.push_back(call.join(u' ').toStdString());
                  return OSStatus(0);
              },
              token)) {}
    ~Ear() { server_.removePropertyListener(token); }

    /// Each call since the last time, as "selector/scope selector/scope".
    std::vector<std::string> heard() {
        const std::lock_guard lock(mutex_);
        return std::exchange(heard_, {});
    }

    std::ptrdiff_t count(const std::string& part) {
        const std::lock_guard lock(mutex_);
        return std::count_if(heard_.begin(), heard_.end(),
                             [&part](const std::string& call) { return call.find(part) != std::string::npos; });
    }

private:
    AudioServer& server_;
    std::mutex mutex_;
    std::vector<std::string> heard_;

public:
    ListenerToken token = 0;
    const OSStatus status;
};

} // namespace parlowen::testing
