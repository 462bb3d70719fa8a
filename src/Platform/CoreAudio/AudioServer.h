#pragma once

#include "AudioObject.h"

#include <QVariantMap>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace parlowen {

/// The device through which what the computer plays is heard. It is in the program's own list of devices where there is
/// an audio server, and stands for the monitor of an output.
namespace loopbackDevice {

inline constexpr const char* name = "vorlanOutput 2ch";
inline constexpr const char* uid = "vorlanOutput2ch_UID";

} // namespace loopbackDevice

/// Names one registration of a listener; 0 is none.
using ListenerToken = std::uint64_t;

/// An audio server seen as Core Audio's object model: every object has a class and properties, which are read, written
/// and listened to by address. Any thread may call anything, listeners included; no call waits for a server.
///
/// Object 1 is the system object (class 'asys'): its 'dev#' lists the devices, in an order that stays, 'ownd' what it
/// owns; 'dIn ', 'dOut' and 'sOut' name the default devices (0: none) and can be written; 'uIn ' is the user's own
/// input, whatever the program's sessions hear. A device ('adev'; one that stands for several is an 'aagg') has 'lnam',
/// 'uid ', 'tran', 'livn', 'goin', 'gone', 'nsrt', 'ownd', 'stm#' (global, input and output scope) and, on each side
/// that it has, 'volm', 'mute' and 'jack' (1: something is plugged in). It owns its streams ('astr'), its controls
/// ('vlme', 'mute') and, if it is an aggregate, its sub-devices ('asub'; also listed by 'agrp'). Every object has
/// 'clas', 'bcls' and 'ownr'.
///
/// Data is in host order: ids, codes, counts and flags 4 bytes each, 'nsrt' (Hz) an 8-byte and 'volm' (1 is the nominal
/// volume) a 4-byte floating-point number, a string its UTF-8 bytes.
class AudioServer {
public:
    virtual ~AudioServer() = default;

    virtual bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) = 0;

    /// Replaces `data` by the property's value; leaves it alone unless it returns 0. The qualifier of 'ownd' is a list
    /// of class ids: only owned objects of one of these classes are listed; an empty one, like 'aobj', means all.
    virtual OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                     std::span<const std::byte> qualifier, std::vector<std::byte>& data) = 0;

    /// Returns 0 once the change shows in the property.
    virtual OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                     std::span<const std::byte> qualifier, std::span<const std::byte> data) = 0;

    /// Told which properties of the object changed, on a thread of the server, one call at a time. Its answer is
    /// ignored.
    using Listener = std::function<OSStatus(AudioObjectID, std::span<const AudioObjectPropertyAddress>)>;

    /// Any part of the address may be its wildcard. A registration outlives its object: should the object come back
    /// (a device plugged in again, the server restarted), its changes are told again.
    virtual OSStatus addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                         Listener listener, ListenerToken& token) = 0;

    /// After it returns, the listener is not called any more; called by a listener, after that listener returns.
    virtual OSStatus removePropertyListener(ListenerToken token) = 0;

    /// Notes a device that stands for several: "uid" and "name" (strings), "subdevices" (a list of maps with the "uid"
    /// of a device with output) and "stacked" (1). Returns 0 once the device is in the device list. Errors: 'nope' (a
    /// member is missing or no good, the UID is taken, there is such a device already), '!dev' (an unknown sub-device
    /// or one without output), 'unop' (not stacked), 'stop' (no server).
    virtual OSStatus createAggregateDevice(const QVariantMap& description, AudioObjectID& device) = 0;

    /// Removes an aggregate device. Returns 0 once it is off the device list; '!obj' for no object,
    /// '!dev' for anything but an aggregate device.
    virtual OSStatus destroyAggregateDevice(AudioObjectID device) = 0;
};

} // namespace parlowen
