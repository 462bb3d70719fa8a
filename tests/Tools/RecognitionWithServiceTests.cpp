#include <AVFoundation/FileCapture.h>
#include <Speech/SpeechEndpoint.h>
#include <Tools/SpeechRecognitionTool.h>
#include <gmock/gmock.h>

#include <QFile>
#include <QStringList>
#include <mutex>
#include <thread>

#include "support/FaultProxy.h"
#include "support/RunningService.h"
#include "support/WaitFor.h"
#include "support/WordErrorRate.h"

namespace parlowen::testing {
namespace {

constexpr const char* sample = PARLOWEN_SOURCE_DIR "/resources/sample-interview/sample-interview";

std::string sampleText() {
    QFile file(QString(sample) + ".txt");
    EXPECT_TRUE(file.open(QFile::ReadOnly));
    return file.readAll().toStdString();
}

/// The service of this machine behind a faulty network, and the tool that hears the sample through both.
class RecognitionWithServiceTest : public ::testing::Test {
protected:
    RecognitionWithServiceTest() {
        SpeechEndpoint::setLocalTrust({"127.0.0.1", QByteArray::fromStdString(service.authority())});
        std::thread([this] {
            const Reply reply = service.client().get("/api/v1/microsoft/get_token", service.token());
            token = QString::fromStdString(reply.data().at("token").get<std::string>());
        }).join();
    }

    ~RecognitionWithServiceTest() override {
        tool->stopRecognition();
        SpeechEndpoint::setLocalTrust({});
    }

    void start(double speed) {
        tool = SpeechRecognitionTool::make(token, QString("wss://127.0.0.1:%1").arg(proxy.port()), [speed] {
            return std::make_unique<FileCapture>(FileCapture::Options{QString(sample) + ".wav", speed, {}});
        });
        const auto keep = [this](QStringList& list) {
            return [this, &list](const QString& text) {
                const std::lock_guard lock(mutex);
                list.append(text);
            };
        };
        tool->startRecognition("en-US", keep(finals), keep(partials), keep(errors));
    }

    QStringList copyOf(const QStringList& list) {
        const std::lock_guard lock(mutex);
        return list;
    }

    RunningService service;
    FaultProxy proxy{service.port()};
    QString token;
    std::mutex mutex;
    QStringList finals;
    QStringList partials;
    QStringList errors;
    std::shared_ptr<SpeechRecognitionTool> tool;
};

TEST_F(RecognitionWithServiceTest, ConnectionsCutInMidSentenceLoseNoWord) {
    start(1.5);
    // Three cuts, each in the middle of a sentence of its own.
    int cuts = 0;
    qsizetype finalsAtCut = -1;
    ASSERT_TRUE(waitFor(
        [&] {
            const QString partial = copyOf(partials).isEmpty() ? QString() : copyOf(partials).last();
            const qsizetype heard = copyOf(finals).size();
            if (cuts < 3 && heard > finalsAtCut && partial.split(' ').size() >= 4) {
                ++cuts;
                finalsAtCut = heard;
                proxy.cutAll();
            }
            return copyOf(finals).join(' ').contains("any questions", Qt::CaseInsensitive) || !copyOf(errors).isEmpty();
        },
        150'000));
    EXPECT_EQ(copyOf(errors), QStringList());
    EXPECT_EQ(cuts, 3);
    EXPECT_EQ(proxy.connections(), 4);
    const auto reference = wordsOf(sampleText());
    const auto heard = wordsOf(copyOf(finals).join(' ').toStdString());
    EXPECT_LE(wordErrors(reference, heard) * 100, reference.size() * 12) << copyOf(finals).join('\n').toStdString();
}

} // namespace
} // namespace parlowen::testing
