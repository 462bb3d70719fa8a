#include "AudioObject.h"

namespace parlowen {

QString fourCCText(FourCharCode code) {
    QString text;
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        const auto byte = static_cast<unsigned char>(code >> (shift - 8));
        text += byte >= 0x20 && byte < 0x7F ? QChar(byte) : u'.';
    }
    return text;
}

bool matches(const AudioObjectPropertyAddress& pattern, const AudioObjectPropertyAddress& address) {
    return (pattern.selector == kAudioObjectPropertySelectorWildcard || pattern.selector == address.selector) &&
           (pattern.scope == kAudioObjectPropertyScopeWildcard || pattern.scope == address.scope) &&
           (pattern.element == kAudioObjectPropertyElementWildcard || pattern.element == address.element);
}

FourCharCode baseClassOf(FourCharCode classID) {
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

bool isKindOf(FourCharCode classID, FourCharCode wanted) {
    return wanted == classID || wanted == fourCC("aobj") || wanted == baseClassOf(classID);
}

} // namespace parlowen
