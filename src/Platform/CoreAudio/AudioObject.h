#pragma once

#include <QString>
#include <compare>
#include <cstdint>

/// The vocabulary of the audio object model: Core Audio's object ids, four-character codes, addresses and status
/// values.
namespace parlowen {

using AudioObjectID = std::uint32_t; ///< names one object for the life of the process; 0 is no object
using OSStatus = std::int32_t;       ///< 0 is success
using FourCharCode = std::uint32_t;  ///< four ASCII characters, the first in the highest byte

/// The code of four characters: fourCC("adev").
consteval FourCharCode fourCC(const char (&text)[5]) {
    FourCharCode code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8U | static_cast<unsigned char>(text[i]);
    return code;
}

/// The characters of a code, each unprintable one as a dot.
inline QString fourCCText(FourCharCode code) {
    QString text;
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        const auto byte = static_cast<unsigned char>(code >> (shift - 8));
        text += byte >= 0x20 && byte < 0x7F ? QChar(byte) : u'.';
    }
    return text;
}

inline constexpr AudioObjectID kAudioObjectUnknown = 0;
inline constexpr AudioObjectID kAudioObjectSystemObject = 1;

/// A status value that is written as four characters.
consteval OSStatus statusCC(const char (&text)[5]) { return static_cast<OSStatus>(fourCC(text)); }

inline constexpr OSStatus kAudioHardwareNoError = 0;
inline constexpr OSStatus kAudioHardwareNotRunningError = statusCC("stop");       ///< no audio server
inline constexpr OSStatus kAudioHardwareUnspecifiedError = statusCC("what");      ///< refused for another reason
inline constexpr OSStatus kAudioHardwareUnknownPropertyError = statusCC("who?");  ///< the object has no such property
inline constexpr OSStatus kAudioHardwareBadPropertySizeError = statusCC("!siz");  ///< data or qualifier of another size
inline constexpr OSStatus kAudioHardwareIllegalOperationError = statusCC("nope"); ///< not allowed as things stand
inline constexpr OSStatus kAudioHardwareBadObjectError = statusCC("!obj");        ///< there is no such object
inline constexpr OSStatus kAudioHardwareBadDeviceError = statusCC("!dev");        ///< not a device, or not a fit one
inline constexpr OSStatus kAudioHardwareUnsupportedOperationError = statusCC("unop"); ///< this object cannot do that

inline constexpr FourCharCode kAudioObjectPropertyScopeGlobal = fourCC("glob");
inline constexpr FourCharCode kAudioObjectPropertyScopeInput = fourCC("inpt");
inline constexpr FourCharCode kAudioObjectPropertyScopeOutput = fourCC("outp");
inline constexpr FourCharCode kAudioObjectPropertyScopeWildcard = fourCC("****");
inline constexpr FourCharCode kAudioObjectPropertySelectorWildcard = fourCC("****");
inline constexpr std::uint32_t kAudioObjectPropertyElementMain = 0;
inline constexpr std::uint32_t kAudioObjectPropertyElementWildcard = 0xFFFFFFFF;

/// Where a property of an object is found.
struct AudioObjectPropertyAddress {
    FourCharCode selector = 0;
    FourCharCode scope = kAudioObjectPropertyScopeGlobal;
    std::uint32_t element = kAudioObjectPropertyElementMain;

    // NOLINTNEXTLINE(modernize-use-nullptr): it is no pointer
    auto operator<=>(const AudioObjectPropertyAddress&) const = default;
};

/// The address that matches every property.
inline constexpr AudioObjectPropertyAddress kAudioObjectAnyProperty{
    kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard};

/// Whether an address falls under a pattern, each part of which may be its wildcard.
constexpr bool matches(const AudioObjectPropertyAddress& pattern, const AudioObjectPropertyAddress& address) {
    return (pattern.selector == kAudioObjectPropertySelectorWildcard || pattern.selector == address.selector) &&
           (pattern.scope == kAudioObjectPropertyScopeWildcard || pattern.scope == address.scope) &&
           (pattern.element == kAudioObjectPropertyElementWildcard || pattern.element == address.element);
}

/// The class that this class derives from: aggregates ('aagg') and sub-devices ('asub') are devices ('adev'), level and
/// mute controls ('vlme', 'mute') are controls ('actl'), all others are objects ('aobj').
constexpr FourCharCode baseClassOf(FourCharCode classID) {
    switch (classID) {
    case fourCC("aagg"):
    case fourCC("asub"):
        return fourCC("adev");
    case fourCC("vlme"):
    case fourCC("mute"):
        return fourCC("actl");
    default:
        return fourCC("aobj");
    }
}

/// Whether an object of class `classID` is also one of class `wanted`; every object is an 'aobj'.
constexpr bool isKindOf(FourCharCode classID, FourCharCode wanted) {
    return wanted == classID || wanted == fourCC("aobj") || wanted == baseClassOf(classID);
}

} // namespace parlowen
