#pragma once

#include "SessionRun.h"

namespace parlowen {

/// A session on a live call: what the computer or one program plays, or the microphone. It goes on until its window is
/// closed. The audio server must be installed by then.
class Interview : public SessionRun {
public:
    Interview(CommandLine line, SessionReport& report, SessionSettings& settings, Composition& composition,
              std::function<void(int)> finished);

protected:
    QString soundName() const override;
    Result<void> checkSound() const override { return {}; }
    CaptureSourceFactory capture() override;
    AudioRouting& router() override;
    Result<void> prepareSound() override;
    void keep(SessionSettings& settings) override { settings.storeLooks(); }

private:
    void hearWhatIsPlayed(const QString& output) const;
};

} // namespace parlowen
