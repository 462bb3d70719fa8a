#pragma once

#include <gtest/gtest.h>

#include "PrivateAudioServer.h"
#include "ServerWatch.h"

namespace parlowen::testing {

/// A test that runs on PulseAudio and on PipeWire, each private: the parameter is the server's name.
class EitherAudioServer : public ::testing::TestWithParam<const char*> {
protected:
    void startServer(const QStringList& modules) {
        daemon = std::make_unique<PrivateAudioServer>(GetParam(), modules);
        ASSERT_TRUE(daemon->isReady()) << daemon->output().toStdString();
    }

    /// As another program sees them. The input is a source's name.
    static void expectDefaults(const QString& input, const QString& output) {
        EXPECT_EQ(control({QStringLiteral("get-default-source")}), input);
        EXPECT_EQ(control({QStringLiteral("get-default-sink")}), output);
    }

    std::unique_ptr<PrivateAudioServer> daemon;
};

} // namespace parlowen::testing

/// Runs the tests of a suite on both servers.
#define ON_EITHER_AUDIO_SERVER(Suite)                                                                                  \
    INSTANTIATE_TEST_SUITE_P(On, Suite, ::testing::Values("PulseAudio", "PipeWire"),                                   \
                             [](const auto& kind) { return std::string(kind.param); })
