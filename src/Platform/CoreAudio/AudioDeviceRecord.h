#pragma once

#include "AudioObject.h"

#include <optional>
#include <string>
#include <vector>

namespace parlowen {

/// One device as its audio server describes it. Strings are UTF-8.
struct AudioDeviceRecord {
    struct Side {
        float volume = 1; ///< 1 is the nominal volume
        bool mute = false;

        bool operator==(const Side&) const = default;
    };

    std::string uid; ///< tells devices apart; the key of everything below
    std::string name;
    std::optional<Side> input, output;       ///< the sides that the device has
    FourCharCode transport = fourCC("virt"); ///< 'virt', 'pci ', 'usb ', 'blue', 'bltn', 'grup' or 0 (unknown)
    double sampleRate = 48000;               ///< Hz
    bool running = false;                    ///< whether somebody plays or records
    bool plugged = true;                     ///< false when its jack says that nothing is plugged in
    std::optional<std::vector<std::string>> subDevices; ///< the UIDs behind an aggregate device, in its order

    bool operator==(const AudioDeviceRecord&) const = default;
};

/// All devices, in the order in which the server gives them, and the UIDs of the default ones (empty: none). Of two
/// devices with one UID only the first counts.
struct AudioDeviceList {
    std::vector<AudioDeviceRecord> devices;
    std::string defaultInput, defaultOutput;
    std::string usersInput; ///< the input that the user has chosen, whatever a session hears
};

} // namespace parlowen
