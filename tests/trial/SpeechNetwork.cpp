#include "SpeechNetwork.h"

#include "support/PrivateAudioServer.h"

#include <QRegularExpression>

namespace parlowen::trial {

using namespace ::parlowen::testing;

SpeechNetwork::SpeechNetwork(const ProgramHome& home)
    : data_(home.filePath(QStringLiteral("XDG_DATA_HOME/parlowen-service"))) {
    endWithParent(service_);
    service_.setStandardErrorFile(QProcess::nullDevice());
    start(0);
    network_ = std::make_unique<FaultProxy>(port_);
}

SpeechNetwork::~SpeechNetwork() {
    service_.kill();
    service_.waitForFinished();
}

void SpeechNetwork::start(quint16 port) {
    service_.start(QStringLiteral(PARLOWEN_BINARY_DIR "/bin/parlowen-service"),
                   {"--listen", QStringLiteral("127.0.0.1:%1").arg(port), "--data", data_});
    EXPECT_TRUE(waitFor([this] { return service_.canReadLine(); }, 30'000));
    static const QRegularExpression address(QStringLiteral(":(\\d+)\\s*$"));
    port_ = address.match(QString::fromUtf8(service_.readLine())).captured(1).toUShort();
}

QString SpeechNetwork::baseUrl() const { return QStringLiteral("https://127.0.0.1:%1/api/v1").arg(network_->port()); }

void SpeechNetwork::forgetTokens() {
    service_.kill();
    service_.waitForFinished();
    EXPECT_TRUE(QFile::remove(data_ + QStringLiteral("/speech-tokens.key")));
    start(port_);
}

} // namespace parlowen::trial
