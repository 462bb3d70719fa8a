#pragma once

#include "AVAudioPCMBuffer.h"
#include "InputStatus.h"

#include <QString>
#include <chrono>

namespace parlowen {

/// Keeps the status of a capture's input, tells the observer of its changes and the console log what befalls it. It is
/// told the time, on a clock that only goes forward. One thread at a time.
class InputReport {
public:
    using Time = std::chrono::microseconds;

    /// Peaks below it (full scale 1.0; -66 dB) are silence: what a muted or an unused input gives.
    static constexpr float nearSilence = 0.0005F;
    /// Silence that the console log mentions: before the first sound, and later, when people think.
    static constexpr std::chrono::seconds patienceAtStart{10}, patienceLater{30};

    explicit InputReport(InputObserver observer);

    /// An input is open.
    void listening(InputKind kind, const QString& name, Time now);
    /// What is known of it beside its sound.
    void setDevice(const QString& name, bool muted);
    /// Sound came from the input, or silence.
    void heard(const AVAudioPCMBuffer& buffer, Time now);
    /// Time goes by.
    void tick(Time now);
    /// Another output that some program plays into; empty for none.
    void setElsewhere(const QString& uid, const QString& name);

    void inputLost();
    void serverLost(const QString& error);
    void refused(const QString& error);
    /// There is nothing of that kind; the name is known of a program alone.
    void noInput(InputKind kind, const QString& name = {});
    /// So much was missed, and so much of it filled with silence, in seconds.
    void gap(double missed, double filled) const;

    /// How long the input has been without sound.
    Time quiet(Time now) const { return now - lastSound_; }
    const InputStatus& status() const { return status_; }

private:
    template<class Change>
    void change(const Change& change);
    void stopped(InputStatus::State state, const QString& problem, const QString& line);
    void sayWhetherSilent(Time quiet);

    const InputObserver observer_;
    InputStatus status_;
    Time lastSound_{0}; ///< or the moment since when there could have been some
    bool saidSilent_ = false;
};

} // namespace parlowen
