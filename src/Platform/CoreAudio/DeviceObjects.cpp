#include "DeviceObjects.h"

#include "AudioPropertyData.h"

#include <algorithm>
#include <set>

namespace parlowen {

namespace {

struct Direction {
    FourCharCode scope;
    std::uint32_t streamDirection; // as 'sdir' has it
    std::optional<AudioDeviceRecord::Side> AudioDeviceRecord::*side;
};
constexpr Direction directions[] = {{kAudioObjectPropertyScopeInput, 1, &AudioDeviceRecord::input},
                                    {kAudioObjectPropertyScopeOutput, 0, &AudioDeviceRecord::output}};

AudioProperties basics(FourCharCode classID, AudioObjectID owner) {
    AudioProperties properties;
    properties[{fourCC("clas")}] = propertyData(classID);
    properties[{fourCC("bcls")}] = propertyData(baseClassOf(classID));
    properties[{fourCC("ownr")}] = propertyData(owner);
    properties[{fourCC("ownd")}] = {};
    return properties;
}

/// Builds the objects of one device.
class DeviceBuilder {
public:
    DeviceBuilder(const AudioDeviceRecord& device, const std::map<std::string, std::string>& names, ObjectIDs& ids,
                  AudioObjects& objects)
        : device_(device)
        , names_(names)
        , ids_(ids)
        , objects_(objects)
        , id_(ids.get(deviceKey(device.uid))) {}

    AudioObjectID build() {
        AudioProperties properties =
            basics(device_.subDevices ? fourCC("aagg") : fourCC("adev"), kAudioObjectSystemObject);
        addPlainValues(properties);
        if (device_.subDevices)
            properties[{fourCC("agrp")}] = propertyData(addSubDevices());
        std::vector<AudioObjectID> streams;
        for (const Direction& direction : directions) {
            const auto& side = device_.*direction.side;
            std::vector<AudioObjectID> own;
            if (side) {
                own.push_back(addStream(direction));
                addControls(direction.scope, *side, properties);
            }
            properties[{fourCC("stm#"), direction.scope}] = propertyData(own);
            if (side)
                properties[{fourCC("jack"), direction.scope}] = propertyData<std::uint32_t>(device_.plugged ? 1 : 0);
            streams.insert(streams.end(), own.begin(), own.end());
        }
        properties[{fourCC("stm#")}] = propertyData(streams);
        properties[{fourCC("ownd")}] = propertyData(owned_);
        objects_[id_] = std::move(properties);
        return id_;
    }

private:
    AudioObjectID addOwned(const std::string& key, AudioProperties properties) {
        const AudioObjectID id = ids_.get(deviceKey(device_.uid) + '/' + key);
        objects_[id] = std::move(properties);
        owned_.push_back(id);
        return id;
    }

    void addPlainValues(AudioProperties& properties) const {
        properties[{fourCC("lnam")}] = propertyData(device_.name);
        properties[{fourCC("uid ")}] = propertyData(device_.uid);
        properties[{fourCC("tran")}] = propertyData(device_.transport);
        properties[{fourCC("livn")}] = propertyData<std::uint32_t>(1);
        // An audio server does not say whose sound makes a device run, so both have the same value.
        properties[{fourCC("goin")}] = propertyData<std::uint32_t>(device_.running ? 1 : 0);
        properties[{fourCC("gone")}] = properties[{fourCC("goin")}];
        properties[{fourCC("nsrt")}] = propertyData(device_.sampleRate);
    }

    std::vector<AudioObjectID> addSubDevices() {
        std::vector<AudioObjectID> subDevices;
        for (const std::string& uid : *device_.subDevices) {
            AudioProperties properties = basics(fourCC("asub"), id_);
            const auto name = names_.find(uid);
            properties[{fourCC("uid ")}] = propertyData(uid);
            properties[{fourCC("lnam")}] = propertyData(name == names_.end() ? uid : name->second);
            properties[{fourCC("livn")}] = propertyData<std::uint32_t>(name == names_.end() ? 0 : 1);
            subDevices.push_back(addOwned("sub-device " + uid, std::move(properties)));
        }
        return subDevices;
    }

    AudioObjectID addStream(const Direction& direction) {
        AudioProperties properties = basics(fourCC("astr"), id_);
        properties[{fourCC("sdir")}] = propertyData(direction.streamDirection);
        return addOwned(direction.streamDirection == 1 ? "input" : "output", std::move(properties));
    }

    void addControls(FourCharCode scope, const AudioDeviceRecord::Side& side, AudioProperties& device) {
        const auto mute = propertyData<std::uint32_t>(side.mute ? 1 : 0);
        const auto volume = propertyData(side.volume);
        device[{fourCC("mute"), scope}] = mute;
        device[{fourCC("volm"), scope}] = volume;
        addControl(fourCC("vlme"), scope, fourCC("lcsv"), volume);
        addControl(fourCC("mute"), scope, fourCC("bcvl"), mute);
    }

    void addControl(FourCharCode classID, FourCharCode scope, FourCharCode selector, std::vector<std::byte> value) {
        AudioProperties properties = basics(classID, id_);
        properties[{fourCC("cscp")}] = propertyData(scope);
        properties[{fourCC("celm")}] = propertyData(kAudioObjectPropertyElementMain);
        properties[{selector}] = std::move(value);
        addOwned(fourCCText(classID).toStdString() + fourCCText(scope).toStdString(), std::move(properties));
    }

    const AudioDeviceRecord& device_;
    const std::map<std::string, std::string>& names_;
    ObjectIDs& ids_;
    AudioObjects& objects_;
    const AudioObjectID id_;
    std::vector<AudioObjectID> owned_;
};

AudioObjectID defaultDevice(const AudioDeviceList& list, const std::string& uid, const ObjectIDs& ids) {
    const bool present = std::any_of(list.devices.begin(), list.devices.end(),
                                     [&](const AudioDeviceRecord& device) { return device.uid == uid; });
    return present ? ids.find(deviceKey(uid)) : kAudioObjectUnknown;
}

} // namespace

AudioObjectID ObjectIDs::get(const std::string& key) {
    const auto [entry, isNew] = ids_.try_emplace(key, next_);
    if (isNew)
        ++next_;
    return entry->second;
}

AudioObjectID ObjectIDs::find(const std::string& key) const {
    const auto found = ids_.find(key);
    return found == ids_.end() ? kAudioObjectUnknown : found->second;
}

std::string deviceKey(const std::string& uid) { return "device " + uid; }

AudioObjects makeObjects(const AudioDeviceList& list, ObjectIDs& ids) {
    std::map<std::string, std::string> names;
    for (const AudioDeviceRecord& device : list.devices)
        names.emplace(device.uid, device.name);
    AudioObjects objects;
    std::set<AudioObjectID> devices; // by id: in the order in which they were first seen
    for (const AudioDeviceRecord& device : list.devices) {
        if (!devices.contains(ids.find(deviceKey(device.uid))))
            devices.insert(DeviceBuilder(device, names, ids, objects).build());
    }
    AudioProperties system = basics(fourCC("asys"), kAudioObjectUnknown);
    system[{fourCC("dev#")}] = propertyData(std::vector(devices.begin(), devices.end()));
    system[{fourCC("ownd")}] = system[{fourCC("dev#")}];
    system[{fourCC("dIn ")}] = propertyData(defaultDevice(list, list.defaultInput, ids));
    system[{fourCC("uIn ")}] = propertyData(defaultDevice(list, list.usersInput, ids));
    system[{fourCC("dOut")}] = propertyData(defaultDevice(list, list.defaultOutput, ids));
    system[{fourCC("sOut")}] = system[{fourCC("dOut")}];
    objects[kAudioObjectSystemObject] = std::move(system);
    return objects;
}

} // namespace parlowen
