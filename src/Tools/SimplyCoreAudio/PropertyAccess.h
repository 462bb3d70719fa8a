#pragma once

#include <CoreAudio/AudioServer.h>

#include <QString>
#include <optional>
#include <vector>

/// Typed access to the properties of audio objects. A read that fails yields none and a line in the system log with the
/// address and the status; so does data of the wrong size, without a line.
namespace parlowen::PropertyAccess {

/// The property of that selector in the global scope, main element.
AudioObjectPropertyAddress global(FourCharCode selector);

std::optional<QString> string(AudioServer& server, AudioObjectID object, const AudioObjectPropertyAddress& address);
std::optional<std::uint32_t> integer(AudioServer& server, AudioObjectID object,
                                     const AudioObjectPropertyAddress& address);
/// Object IDs in the order of the server. The qualifier, when there is one, names the class that is asked for.
std::optional<std::vector<AudioObjectID>> objects(AudioServer& server, AudioObjectID object,
                                                  const AudioObjectPropertyAddress& address,
                                                  std::optional<FourCharCode> qualifier = std::nullopt);
OSStatus setInteger(AudioServer& server, AudioObjectID object, const AudioObjectPropertyAddress& address,
                    std::uint32_t value);

} // namespace parlowen::PropertyAccess
