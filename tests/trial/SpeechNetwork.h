#pragma once

#include <QProcess>
#include <memory>

#include "support/FaultProxy.h"
#include "support/ProgramRun.h"

namespace parlowen::trial {

/// A service of the trial's own, and the network between it and the program: a proxy that requests and speech go
/// through.
class SpeechNetwork {
public:
    /// The service keeps its files where a program with that home looks for its certificate.
    explicit SpeechNetwork(const testing::ProgramHome& home);
    ~SpeechNetwork();
    SpeechNetwork(const SpeechNetwork&) = delete;
    SpeechNetwork& operator=(const SpeechNetwork&) = delete;

    /// PARLOWEN_API_BASE_URL of a program that comes this way.
    QString baseUrl() const;
    testing::FaultProxy& network() { return *network_; }
    /// Restarts the service in the same place so that it takes none of the tokens for speech that it gave.
    void forgetTokens();

private:
    void start(quint16 port);

    const QString data_;
    QProcess service_;
    quint16 port_ = 0;
    std::unique_ptr<testing::FaultProxy> network_;
};

} // namespace parlowen::trial
