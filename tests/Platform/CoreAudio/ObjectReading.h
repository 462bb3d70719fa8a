#pragma once

#include <CoreAudio/AudioPropertyData.h>
#include <support/SimulatedDevices.h>

namespace parlowen::testing {

inline std::string text(AudioServer& server, AudioObjectID object, FourCharCode selector) {
    std::vector<std::byte> data;
    const OSStatus status = server.getPropertyData(object, {selector}, {}, data);
    return status == 0 ? propertyText(data) : "status " + fourCCText(static_cast<FourCharCode>(status)).toStdString();
}

/// 0 when it cannot be read.
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

inline std::vector<AudioObjectID> deviceList(AudioServer& server) {
    return ids(server, kAudioObjectSystemObject, {fourCC("dev#")});
}

/// Kept as fourCC("dIn ") and the like; the status of the write.
inline OSStatus setDefault(AudioServer& server, FourCharCode selector, AudioObjectID device) {
    return server.setPropertyData(kAudioObjectSystemObject, {selector}, {}, propertyData(device));
}

/// The description of a multi-output device.
inline QVariantMap multiOutput(const QString& uid, const QString& name, const QStringList& subDevices) {
    QVariantList list;
    for (const QString& subDevice : subDevices)
        list << QVariantMap{{QStringLiteral("uid"), subDevice}};
    return {{QStringLiteral("uid"), uid},
            {QStringLiteral("name"), name},
            {QStringLiteral("subdevices"), list},
            {QStringLiteral("master"), subDevices.value(0)},
            {QStringLiteral("stacked"), 1}};
}

} // namespace parlowen::testing
