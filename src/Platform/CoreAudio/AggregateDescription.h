#pragma once

#include "AudioObjectStore.h"

#include <QVariantMap>

namespace parlowen {

/// An aggregate device that is to be made. Strings are UTF-8.
struct AggregateDescription {
    std::string uid, name;
    std::vector<std::string> subDevices; ///< UIDs of devices with output, in order

    /// Reads and checks a description as AudioServer::createAggregateDevice takes it, and returns that call's status.
    static OSStatus read(const QVariantMap& map, const AudioObjectStore& store, AggregateDescription& description);
};

} // namespace parlowen
