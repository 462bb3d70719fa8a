#pragma once

namespace parlowen {

/// What a session asks of the computer's audio devices. Main thread.
class AudioRouting {
public:
    virtual ~AudioRouting();

    /// Makes the loop-back device the default input and lets the sound be heard and captured at once.
    virtual void setupSystemAudio() = 0;
    /// Makes a microphone the default input, or the loop-back device.
    virtual void switchInput(bool useMicrophone) = 0;
    /// Gives the user's own devices back. Harmless when nothing was changed.
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
