#pragma once

#include <gtest/gtest.h>

#include "PrivatePipeWire.h"
#include "PrivatePulseAudio.h"
#include "WaitFor.h"

namespace parlowen::testing {

/// Runs pactl on the private server and returns what it prints.
inline QString control(const QStringList& arguments) {
    QProcess pactl;
    pactl.start(QStringLiteral("pactl"), arguments);
    EXPECT_TRUE(pactl.waitForFinished() && pactl.exitCode() == 0)
        << arguments.join(u' ').toStdString() << ": " << pactl.readAllStandardError().toStdString();
    return QString::fromUtf8(pactl.readAllStandardOutput()).trimmed();
}

/// A private server of that name, "PulseAudio" or "PipeWire", with these modules.
inline std::unique_ptr<PrivateAudioServer> makeAudioServer(const std::string& name, const QStringList& modules) {
    if (name == "PipeWire")
        return std::make_unique<PrivatePipeWire>(modules);
    return std::make_unique<PrivatePulseAudio>(modules);
}

/// An address whose connections lead to one server after another. Whoever holds one to the first knows nothing of the
/// second, as if it had missed what makes them differ.
class MovingAddress {
public:
    QString address() const { return "unix:" + link_; }
    bool leadTo(const PrivateAudioServer& server) {
        QFile::remove(link_);
        return QFile::link(server.address().section(u':', 1), link_);
    }

private:
    const QTemporaryDir directory_;
    const QString link_ = directory_.filePath(QStringLiteral("native"));
};

/// A test that runs on PulseAudio and on PipeWire, each private: the parameter is the server's name.
class EitherAudioServer : public ::testing::TestWithParam<const char*> {
protected:
    static bool isPipeWire() { return std::string(GetParam()) == "PipeWire"; }

    static std::unique_ptr<PrivateAudioServer> makeServer(const QStringList& modules) {
        return makeAudioServer(GetParam(), modules);
    }

    void startServer(const QStringList& modules) {
        daemon = makeServer(modules);
        ASSERT_TRUE(daemon->isReady()) << daemon->output().toStdString();
    }

    /// As another program sees them. The input is a source's name.
    static void expectDefaults(const QString& input, const QString& output) {
        EXPECT_EQ(control({QStringLiteral("get-default-source")}), input);
        EXPECT_EQ(control({QStringLiteral("get-default-sink")}), output);
    }

    static void expectNoMultiOutput() {
        EXPECT_FALSE(control({"list", "short", "sinks"}).contains("tqv"));
        EXPECT_FALSE(control({"list", "short", "modules"}).contains("module-combine-sink"));
    }

    std::unique_ptr<PrivateAudioServer> daemon;
};

} // namespace parlowen::testing

/// Runs the tests of a suite on both servers.
#define ON_EITHER_AUDIO_SERVER(Suite)                                                                                  \
    INSTANTIATE_TEST_SUITE_P(On, Suite, ::testing::Values("PulseAudio", "PipeWire"),                                   \
                             [](const auto& kind) { return std::string(kind.param); })
