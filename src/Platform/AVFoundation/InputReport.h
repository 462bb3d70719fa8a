#pragma once

#include "InputLevelWatch.h"
#include "InputStatus.h"

#include <QString>
#include <functional>

namespace parlowen {

/// What befalls the input of a capture.
struct InputNotice {
    enum class What { Listening, Silent, SoundAgain, Clipping, InputLost, ServerLost, NoInput } what;
    QString name; ///< the input's, for people; that of the last one when there is none now
    InputKind kind;
};

/// Told on a thread of the capture, which waits for it.
using InputObserver = std::function<void(const InputNotice&)>;

/// Tells the console log what a capture listens to, what befalls it, and when it hears nothing. One line each; what is
/// the same as before is not said again. An observer is told the same. One thread.
class InputReport {
public:
    explicit InputReport(InputObserver observer = nullptr);

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
    void tell(InputNotice::What what) const;

    const InputObserver observer_;
    QString name_;
    InputKind kind_ = InputKind::Microphone;
    InputLevelWatch watch_;
    bool saidSilent_ = false;
    bool saidClipping_ = false;
    bool saidNoInput_ = false;
};

} // namespace parlowen
