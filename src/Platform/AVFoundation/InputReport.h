#pragma once

#include "InputLevelWatch.h"

#include <QString>

namespace parlowen {

/// What a capture listens to.
enum class InputKind { SystemSound, Microphone };

/// Tells the console log what a capture listens to, what befalls it, and when it hears nothing. One line each; what is
/// the same as before is not said again. One thread.
class InputReport {
public:
    /// An input is open: says its name and kind, and warns when it is of another kind than the one before.
    void listening(const QString& name, InputKind kind);
    /// Sound came from the input; says when it has been silent too long, and when sound comes again.
    void heard(const AVAudioPCMBuffer& buffer);

    void inputLost() const;
    void serverLost(const QString& error) const;
    void noInput();
    /// Silence was put in for sound that is missing.
    void gapFilled(double seconds) const;

private:
    QString name_;
    InputKind kind_ = InputKind::Microphone;
    InputLevelWatch watch_;
    bool saidSilent_ = false;
    bool saidClipping_ = false;
    bool saidNoInput_ = false;
};

} // namespace parlowen
