#pragma once

#include <Tools/KXAudioRouter.h>
#include <gmock/gmock.h>
#include <support/CapturedLog.h>
#include <support/CapturedSystemLog.h>
#include <support/SimulatedDevices.h>

#include <QFile>
#include <QTemporaryDir>

namespace parlowen::testing {

struct Crash {};

/// Keeps the descriptions of the aggregate devices that were asked for, and can end the program's doing before or after
/// the n-th change that is asked of it.
class CrashingServer : public SimulatedAudioServer {
public:
    void crashAt(int change, bool afterIt) {
        countdown_ = change;
        afterIt_ = afterIt;
    }

    OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::span<const std::byte> data) override {
        return around([&] { return SimulatedAudioServer::setPropertyData(object, address, qualifier, data); });
    }
    OSStatus createAggregateDevice(const QVariantMap& description, AudioObjectID& device) override {
        descriptions.push_back(description);
        return around([&] { return SimulatedAudioServer::createAggregateDevice(description, device); });
    }
    OSStatus destroyAggregateDevice(AudioObjectID device) override {
        return around([&] { return SimulatedAudioServer::destroyAggregateDevice(device); });
    }
    std::vector<QVariantMap> descriptions;

private:
    OSStatus around(const std::function<OSStatus()>& change) {
        const bool here = countdown_ > 0 && --countdown_ == 0;
        if (here && !afterIt_)
            throw Crash();
        const OSStatus status = change();
        if (here)
            throw Crash();
        return status;
    }

    int countdown_ = 0; // 0: no crash
    bool afterIt_ = false;
};

/// A machine with speakers, a headset, a loop-back device and two microphones, of which the user's own default is the
/// second, and a router whose delayed work runs when the test says.
class RouterFixture : public ::testing::Test {
protected:
    RouterFixture() {
        server->setDevice(sink("headset", "Headset Headphones"));
        server->setDevice(sink("speakers", "Built-in Speakers"));
        server->setDevice(sink("loop", "vorlanOutput 2ch"));
        server->setDevice(source("line", "Line In"));
        server->setDevice(source("built-in", "Built-in MICROPHONE"));
        server->setDevice(source("camera", "摄像头麦克风"));
        server->setDefaults("camera", "speakers");
    }

    KXAudioRouter& router() {
        if (!router_)
            router_ = std::make_unique<KXAudioRouter>(
                server, std::make_shared<RouterJournal>(journalPath),
                [this](double seconds, std::function<void()> work) {
                    delays.push_back(seconds);
                    delayed.push_back(std::move(work));
                },
                [this] {
                    server->setDevice(sink("loop", "vorlanOutput 2ch"));
                    return std::optional<QString>();
                });
        return *router_;
    }
    void dropRouter() { router_.reset(); }

    void runDelayed() {
        for (const auto& work : std::exchange(delayed, {}))
            work();
    }

    std::string defaultInput() const { return server->devices().defaultInput; }
    std::string defaultOutput() const { return server->devices().defaultOutput; }
    std::optional<AudioDeviceRecord> multiOutput() const {
        for (const AudioDeviceRecord& device : server->devices().devices) {
            if (device.uid == "tqv-Multi-Output_UID")
                return device;
        }
        return std::nullopt;
    }
    bool journalExists() const { return QFile::exists(journalPath); }

    /// The console log's lines since the last call.
    QStringList takeLog() {
        QStringList lines = log.lines().mid(seen_);
        seen_ += lines.size();
        return lines;
    }

    qsizetype seenLines() const { return seen_; }

    QTemporaryDir directory{"/dev/shm/parlowen-router.XXXXXX"}; // in memory, where nothing is brought to a disk
    QString journalPath = directory.filePath(QStringLiteral("state/parlowen/audio-devices.json"));
    std::shared_ptr<CrashingServer> server = std::make_shared<CrashingServer>();
    std::vector<double> delays;
    std::vector<std::function<void()>> delayed;
    CapturedLog log;
    CapturedSystemLog systemLog;

private:
    std::unique_ptr<KXAudioRouter> router_;
    qsizetype seen_ = 0;
};

} // namespace parlowen::testing
