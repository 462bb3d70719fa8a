#include "DeviceSearch.h"

#include <PulseAudio/PulseSnapshot.h>
#include <Tools/SimplyCoreAudio/PropertyAccess.h>

namespace parlowen::DeviceSearch {

bool hasOutput(AudioServer& server, const Device& device) {
    return server.hasProperty(device->objectID(), {fourCC("volm"), kAudioObjectPropertyScopeOutput});
}

Device microphone(AudioServer& server, const std::vector<Device>& devices) {
    const auto usersInput =
        PropertyAccess::integer(server, kAudioObjectSystemObject, PropertyAccess::global(fourCC("uIn ")));
    Device fittest;
    int lowest = 0;
    for (const Device& device : devices) {
        const AudioObjectPropertyAddress jack{fourCC("jack"), kAudioObjectPropertyScopeInput};
        if (hasOutput(server, device) || !server.hasProperty(device->objectID(), jack))
            continue;
        const bool plugged = PropertyAccess::integer(server, device->objectID(), jack) != 0U;
        const int rank = microphoneRank(device->objectID() == usersInput, plugged, device->deviceName().toStdString());
        if (!fittest || rank < lowest) {
            fittest = device;
            lowest = rank;
        }
    }
    return fittest;
}

} // namespace parlowen::DeviceSearch
