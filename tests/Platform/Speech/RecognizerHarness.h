#pragma once

#include <Speech/SPXRecognizer.h>
#include <Speech/SPXSpeechConfiguration.h>
#include <Speech/SPXSpeechRecognizer.h>
#include <Speech/SPXTranslationRecognizer.h>
#include <gtest/gtest.h>

#include <QStringList>
#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace parlowen::testing {

/// What a recognizer told, from whichever thread.
class Heard {
public:
    void listenTo(SPXRecognizer& recognizer) {
        recognizer.addRecognizingEventHandler([this](const auto& event) { keep(partials_, event.result); });
        recognizer.addRecognizedEventHandler([this](const auto& event) { keep(finals_, event.result); });
        recognizer.addCanceledEventHandler(
            [this](const auto& event) { keep(cancellations_, event.errorDetails.value_or("(no details)")); });
    }

    std::vector<SPXRecognitionResult> partials() const { return copyOf(partials_); }
    std::vector<SPXRecognitionResult> finals() const { return copyOf(finals_); }
    QStringList cancellations() const { return copyOf(cancellations_); }
    std::set<std::thread::id> threads() const { return copyOf(threads_); }

    /// The texts of the final results, those without one left out.
    QStringList finalTexts() const {
        QStringList texts;
        for (const SPXRecognitionResult& result : finals()) {
            if (result.text)
                texts.append(*result.text);
        }
        return texts;
    }

private:
    template<class List, class Entry>
    void keep(List& list, const Entry& entry) {
        const std::lock_guard lock(mutex_);
        threads_.insert(std::this_thread::get_id());
        list.push_back(entry);
    }

    template<class T>
    T copyOf(const T& value) const {
        const std::lock_guard lock(mutex_);
        return value;
    }

    mutable std::mutex mutex_;
    std::vector<SPXRecognitionResult> partials_;
    std::vector<SPXRecognitionResult> finals_;
    QStringList cancellations_;
    std::set<std::thread::id> threads_;
};

/// A recognizer on a stream, with someone who listens. Short pauses, so that tests of reconnects are quick.
struct Recognition {
    explicit Recognition(const QString& area, const QStringList& targets = {},
                         std::chrono::milliseconds answerTimeout = std::chrono::seconds(15)) {
        const SPXAudioConfiguration audio(stream);
        auto configuration = SPXSpeechTranslationConfiguration::make("the-token", area, nullptr).value();
        configuration.setSpeechRecognitionLanguage("en-US");
        configuration.setFirstReconnectPause(std::chrono::milliseconds(5));
        configuration.setAnswerTimeout(answerTimeout);
        for (const QString& target : targets)
            configuration.addTargetLanguage(target);
        if (targets.isEmpty())
            recognizer = SPXSpeechRecognizer::make(configuration, audio, nullptr);
        else
            recognizer = SPXTranslationRecognizer::make(configuration, audio, nullptr);
        heard.listenTo(*recognizer);
    }

    /// Starts with so many bytes of audio.
    void start(std::size_t bytes = 0) {
        stream->write(std::string(bytes, 'a'));
        QString error;
        EXPECT_TRUE(recognizer->startContinuousRecognition(&error)) << error.toStdString();
    }

    Heard heard; ///< first, so that it outlives the recognizer
    std::shared_ptr<SPXPushAudioInputStream> stream = std::make_shared<SPXPushAudioInputStream>();
    std::unique_ptr<SPXRecognizer> recognizer;
};

} // namespace parlowen::testing
