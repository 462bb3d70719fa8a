#pragma once

#include <QRegularExpression>

#include "FaultProxy.h"
#include "support/PrivateAudioServer.h"
#include "support/ProgramRun.h"

namespace parlowen::trial {

/// A service of the trial's own, and the network between it and the program: a proxy that requests and speech go
/// through.
class SpeechNetwork {
public:
    /// The service keeps its files where a program with that home looks for its certificate.
    explicit SpeechNetwork(const testing::ProgramHome& home)
        : data_(home.filePath(QStringLiteral("XDG_DATA_HOME/parlowen-service"))) {
        testing::endWithParent(service_);
        service_.setStandardErrorFile(QProcess::nullDevice());
        start(0);
        network_ = std::make_unique<FaultProxy>(port_);
    }
    ~SpeechNetwork() { stop(); }
    SpeechNetwork(const SpeechNetwork&) = delete;
    SpeechNetwork& operator=(const SpeechNetwork&) = delete;

    /// PARLOWEN_API_BASE_URL of a program that comes this way.
    QString baseUrl() const { return QStringLiteral("https://127.0.0.1:%1/api/v1").arg(network_->port()); }
    FaultProxy& network() { return *network_; }
    /// Restarts the service in the same place so that it takes none of the tokens for speech that it gave.
    void forgetTokens() {
        stop();
        EXPECT_TRUE(QFile::remove(data_ + QStringLiteral("/speech-tokens.key")));
        start(port_);
    }

private:
    void start(quint16 port) {
        service_.start(QStringLiteral(PARLOWEN_BINARY_DIR "/bin/parlowen-service"),
                       {"--listen", QStringLiteral("127.0.0.1:%1").arg(port), "--data", data_, "--create-accounts"});
        EXPECT_TRUE(testing::waitFor([this] { return service_.canReadLine(); }, 30'000));
        static const QRegularExpression address(QStringLiteral(":(\\d+)\\s*$"));
        port_ = address.match(QString::fromUtf8(service_.readLine())).captured(1).toUShort();
    }
    void stop() {
        service_.kill();
        service_.waitForFinished();
    }

    const QString data_;
    QProcess service_;
    quint16 port_ = 0;
    std::unique_ptr<FaultProxy> network_;
};

} // namespace parlowen::trial
