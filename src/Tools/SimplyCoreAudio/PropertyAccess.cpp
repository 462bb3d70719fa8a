#include "PropertyAccess.h"

#include <CoreAudio/AudioPropertyData.h>
#include <Foundation/ConsoleLog.h>

namespace parlowen::PropertyAccess {

namespace {

QString describe(const AudioObjectPropertyAddress& address) {
    return QStringLiteral("'%1', '%2', %3")
        .arg(fourCCText(address.selector), fourCCText(address.scope))
        .arg(address.element);
}

std::optional<std::vector<std::byte>> read(AudioServer& server, AudioObjectID object,
                                           const AudioObjectPropertyAddress& address,
                                           std::span<const std::byte> qualifier) {
    std::vector<std::byte> data;
    const OSStatus status = server.getPropertyData(object, address, qualifier, data);
    if (status == kAudioHardwareNoError)
        return data;
    systemLog(
        QStringLiteral("Unable to get property with address (%1). Status: %2").arg(describe(address)).arg(status));
    return std::nullopt;
}

} // namespace

AudioObjectPropertyAddress global(FourCharCode selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

std::optional<QString> string(AudioServer& server, AudioObjectID object, const AudioObjectPropertyAddress& address) {
    const std::optional<std::vector<std::byte>> data = read(server, object, address, {});
    return data ? std::optional(QString::fromStdString(propertyText(*data))) : std::nullopt;
}

std::optional<std::uint32_t> integer(AudioServer& server, AudioObjectID object,
                                     const AudioObjectPropertyAddress& address) {
    const std::optional<std::vector<std::byte>> data = read(server, object, address, {});
    return data ? propertyValue<std::uint32_t>(*data) : std::nullopt;
}

std::optional<std::vector<AudioObjectID>> objects(AudioServer& server, AudioObjectID object,
                                                  const AudioObjectPropertyAddress& address,
                                                  std::optional<FourCharCode> qualifier) {
    std::span<const std::byte> qualifierBytes;
    if (qualifier)
        qualifierBytes = std::as_bytes(std::span(&*qualifier, 1));
    const std::optional<std::vector<std::byte>> data = read(server, object, address, qualifierBytes);
    return data ? propertyValues<AudioObjectID>(*data) : std::nullopt;
}

OSStatus setInteger(AudioServer& server, AudioObjectID object, const AudioObjectPropertyAddress& address,
                    std::uint32_t value) {
    return server.setPropertyData(object, address, {}, propertyData(value));
}

} // namespace parlowen::PropertyAccess
