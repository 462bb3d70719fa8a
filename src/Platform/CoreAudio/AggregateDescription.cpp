#include "AggregateDescription.h"

#include <QRegularExpression>
#include <algorithm>

namespace parlowen {

namespace {

/// The names that audio servers accept for a sink.
bool isName(const QString& uid) {
    static const QRegularExpression pattern(
        QRegularExpression::anchoredPattern(QStringLiteral("[A-Za-z0-9._-]{1,127}")));
    return pattern.match(uid).hasMatch();
}

OSStatus readSubDevices(const QVariantList& list, const AudioObjectStore& store, std::vector<std::string>& uids) {
    for (const QVariant& entry : list) {
        const std::string uid = entry.toMap().value(QStringLiteral("uid")).toString().toStdString();
        const auto device = store.device(uid);
        if (!device || !device->output || device->subDevices)
            return kAudioHardwareBadDeviceError;
        if (std::find(uids.begin(), uids.end(), uid) != uids.end())
            return kAudioHardwareIllegalOperationError;
        uids.push_back(uid);
    }
    return uids.empty() ? kAudioHardwareIllegalOperationError : kAudioHardwareNoError;
}

} // namespace

OSStatus AggregateDescription::read(const QVariantMap& map, const AudioObjectStore& store,
                                    AggregateDescription& description) {
    const QString uid = map.value(QStringLiteral("uid")).toString();
    const QString name = map.value(QStringLiteral("name")).toString();
    if (!isName(uid) || name.isEmpty() || store.device(uid.toStdString()))
        return kAudioHardwareIllegalOperationError;
    if (map.value(QStringLiteral("stacked")).toInt() != 1)
        return kAudioHardwareUnsupportedOperationError;
    AggregateDescription result{uid.toStdString(), name.toStdString(), {}};
    const OSStatus status = readSubDevices(map.value(QStringLiteral("subdevices")).toList(), store, result.subDevices);
    if (status == kAudioHardwareNoError)
        description = std::move(result);
    return status;
}

} // namespace parlowen
