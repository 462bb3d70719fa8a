#pragma once

#include "SessionRun.h"

#include <Tools/SessionInput.h>

namespace parlowen {

/// A session on a live call: the computer's own sound through the loop-back device, or the microphone. It goes on until
/// its window is closed. The audio server must be installed by then.
class Interview : public SessionRun {
public:
    using SessionRun::SessionRun;

protected:
    QString soundName() const override;
    std::optional<QString> soundProblem() const override { return std::nullopt; }
    CaptureSourceFactory capture() override;
    AudioRouting& router() override;
    std::optional<QString> prepareSound() override;
    void keep(SessionSettings& settings) override { settings.storeLooks(); }

private:
    void inputIsBad(const SessionInput::Problem& problem);
};

} // namespace parlowen
