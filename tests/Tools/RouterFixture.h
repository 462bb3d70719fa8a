#pragma once

#include <Tools/KXAudioRouter.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>
#include <support/SimulatedAudioServer.h>

namespace parlowen::testing {

/// A machine with speakers, a headset and three inputs, of which the user's own default is the camera, and a router
/// whose delayed work runs when the test says.
class RouterFixture : public ::testing::Test {
protected:
    RouterFixture() {
        server->setDevice(sink("headset", "Headset Headphones"));
        server->setDevice(sink("speakers", "Built-in Speakers"));
        server->setDevice(source("line", "Line In"));
        server->setDevice(source("built-in", "Built-in MICROPHONE"));
        server->setDevice(source("camera", "Webcam"));
        server->setDefaults("camera", "speakers");
    }

    KXAudioRouter& router() {
        if (!router_)
            router_ = std::make_unique<KXAudioRouter>(server, [this](double seconds, std::function<void()> work) {
                delays.push_back(seconds);
                delayed.push_back(std::move(work));
            });
        return *router_;
    }
    void dropRouter() { router_.reset(); }

    void runDelayed() {
        for (const auto& work : std::exchange(delayed, {}))
            work();
    }

    /// As the program sees them.
    QString defaultInput() const { return uidOf(simply_.defaultInput()); }
    QString defaultOutput() const { return uidOf(simply_.defaultOutput()); }

    /// The console log's lines since the last call.
    QStringList takeLog() {
        QStringList lines = log.lines().mid(seen_);
        seen_ += lines.size();
        return lines;
    }

    const std::shared_ptr<SimulatedAudioServer> server = std::make_shared<SimulatedAudioServer>();
    std::vector<double> delays;
    std::vector<std::function<void()>> delayed;
    CapturedLog log;
    CapturedSystemLog systemLog;

private:
    static QString uidOf(const std::shared_ptr<AudioDevice>& device) {
        return device ? device->deviceUID().value_or(QString()) : QString();
    }

    const SimplyCoreAudio simply_{server};
    std::unique_ptr<KXAudioRouter> router_;
    qsizetype seen_ = 0;
};

} // namespace parlowen::testing
