#pragma once

#include <Speech/SPXRecognizer.h>
#include <gtest/gtest.h>

#include <QStringList>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

namespace parlowen::testing {

/// What a recognizer told, from whichever thread.
class Heard {
public:
    void listenTo(SPXRecognizer& recognizer) {
        recognizer.addRecognizedEventHandler([this](const SPXRecognitionEvent& event) {
            const std::lock_guard lock(mutex_);
            finals_.append(event.result.text.value_or(QString()));
        });
        recognizer.addRecognizingEventHandler([this](const SPXRecognitionEvent&) { ++partials_; });
        recognizer.addGapEventHandler([this](const SPXGapEvent& event) {
            const std::lock_guard lock(mutex_);
            finals_.append(QString("(%1 s missing)").arg(event.seconds));
        });
        recognizer.addConnectionEventHandler([this](const SPXConnectionEvent& event) {
            const std::lock_guard lock(mutex_);
            connections_.append(event.connected ? "reached" : event.details.english);
        });
        recognizer.addCanceledEventHandler([this](const SPXCanceledEvent& event) {
            const std::lock_guard lock(mutex_);
            cancellations_.append(event.errorDetails ? event.errorDetails->english : "(no details)");
        });
    }

    /// The texts of the final results, and gaps in their place among them.
    QStringList finals() const { return copyOf(finals_); }
    int partials() const { return partials_; }
    /// "reached", or why it was lost, for each change.
    QStringList connections() const { return copyOf(connections_); }
    QStringList cancellations() const { return copyOf(cancellations_); }

private:
    template<class T>
    T copyOf(const T& value) const {
        const std::lock_guard lock(mutex_);
        return value;
    }

    mutable std::mutex mutex_;
    QStringList finals_;
    QStringList connections_;
    std::atomic<int> partials_ = 0;
    QStringList cancellations_;
};

/// A recognizer on a stream, with someone who listens. Short pauses, so that tests of reconnects are quick.
struct Recognition {
    explicit Recognition(const QString& area, std::chrono::milliseconds answerTimeout = std::chrono::minutes(1)) {
        auto configuration = SPXSpeechConfiguration::make("the-token", area).value();
        configuration.setSpeechRecognitionLanguage("en-US");
        configuration.setFirstReconnectPause(std::chrono::milliseconds(5));
        configuration.setAnswerTimeout(answerTimeout);
        recognizer = SPXSpeechRecognizer::make(configuration, SPXAudioConfiguration(stream)).value();
        heard.listenTo(*recognizer);
    }

    /// Starts with so many bytes of audio.
    void start(std::size_t bytes = 0) {
        stream->write(std::string(bytes, 'a'));
        EXPECT_TRUE(recognizer->startContinuousRecognition());
    }

    Heard heard; ///< first, so that it outlives the recognizer
    std::shared_ptr<SPXPushAudioInputStream> stream = std::make_shared<SPXPushAudioInputStream>();
    std::unique_ptr<SPXRecognizer> recognizer;
};

} // namespace parlowen::testing
