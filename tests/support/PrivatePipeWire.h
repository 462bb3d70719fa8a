#pragma once

#include "PrivateAudioServer.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>
#include <vector>

namespace parlowen::testing {

/// A private PipeWire with its session manager, its PulseAudio server and a message bus. It leaves real hardware alone.
/// While it lives PULSE_SERVER names it, for this process and the programs that it starts.
class PrivatePipeWire : public PrivateAudioServer {
public:
    /// Starts the server and loads these modules, one line each: name and arguments. Ready on return, or failed.
    explicit PrivatePipeWire(QStringList modules = {});
    ~PrivatePipeWire() override;
    PrivatePipeWire(const PrivatePipeWire&) = delete;
    PrivatePipeWire& operator=(const PrivatePipeWire&) = delete;

    bool isReady() const override { return ready_; }
    QString address() const override;
    QString output() override;
    void kill() override;
    bool restart() override;

private:
    QString path(const char* name) const { return directory_.filePath(QString::fromLatin1(name)); }
    void keepOffHardware() const;
    bool start();
    bool startOne(const QString& program, const QStringList& arguments, const QString& socket);
    bool loadModules() const;
    bool control(const QStringList& arguments, QByteArray* answer = nullptr) const;

    QTemporaryDir directory_;
    const QStringList modules_;
    QProcessEnvironment environment_;
    std::vector<std::unique_ptr<QProcess>> processes_;
    bool ready_ = false;
};

} // namespace parlowen::testing
