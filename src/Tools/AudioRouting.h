#pragma once

namespace parlowen {

/// What a session asks of the audio devices, as this program sees them. Main thread.
class AudioRouting {
public:
    virtual ~AudioRouting() = default;

    /// Lets the session hear what the computer plays.
    virtual void setupSystemAudio() = 0;
    /// Lets the session hear a microphone, or what the computer plays.
    virtual void switchInput(bool useMicrophone) = 0;
    /// Ends that. Harmless when nothing was asked for.
    virtual void restoreDevices() = 0;
};

/// Leaves the devices as they are: for sessions that hear none of them.
class NoAudioRouting : public AudioRouting {
public:
    void setupSystemAudio() override {}
    void switchInput(bool /*useMicrophone*/) override {}
    void restoreDevices() override {}
};

} // namespace parlowen
