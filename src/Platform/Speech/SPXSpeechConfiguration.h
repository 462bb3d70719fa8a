#pragma once

#include <QString>
#include <QStringList>
#include <chrono>
#include <memory>
#include <utility>

#include "SPXPushAudioInputStream.h"
#include "SpeechEndpoint.h"

namespace parlowen {

/// How a recognizer of one language reaches the service. Set up on one thread, then handed to the recognizer.
class SPXSpeechConfiguration {
public:
    /// Fails for a token that cannot travel in a header and an area that is neither a region name nor a base URL.
    static Result<SPXSpeechConfiguration> make(const QString& token, const QString& region);

    /// The language that is spoken, a locale such as "zh-CN".
    void setSpeechRecognitionLanguage(const QString& locale) { language_ = locale; }
    /// The pause before the first of several attempts to connect again, by default 250 ms; each further one is twice as
    /// long, up to 10 s.
    void setFirstReconnectPause(std::chrono::milliseconds pause) { firstReconnectPause_ = pause; }

    /// How long the service may keep silent before the connection counts as lost, by default 20 s. It is asked for a
    /// sign of life four times as often, so silence in the call is none.
    void setAnswerTimeout(std::chrono::milliseconds timeout) { answerTimeout_ = timeout; }

    const QString& authorizationToken() const { return token_; }
    const SpeechEndpoint& endpoint() const { return endpoint_; }
    const QString& speechRecognitionLanguage() const { return language_; }
    std::chrono::milliseconds firstReconnectPause() const { return firstReconnectPause_; }
    std::chrono::milliseconds answerTimeout() const { return answerTimeout_; }

protected:
    SPXSpeechConfiguration(QString token, SpeechEndpoint endpoint);

private:
    QString token_;
    SpeechEndpoint endpoint_;
    QString language_;
    std::chrono::milliseconds firstReconnectPause_{250};
    std::chrono::milliseconds answerTimeout_{20'000};
};

/// The same for recognition with translation.
class SPXSpeechTranslationConfiguration : public SPXSpeechConfiguration {
public:
    static Result<SPXSpeechTranslationConfiguration> make(const QString& token, const QString& region);

    /// Adds a translation target, such as "en"; results are keyed by this same string.
    void addTargetLanguage(const QString& code) { targets_.append(code); }
    const QStringList& targetLanguages() const { return targets_; }

private:
    explicit SPXSpeechTranslationConfiguration(SPXSpeechConfiguration base);
    QStringList targets_;
};

/// Where a recognizer's audio comes from: a push stream.
class SPXAudioConfiguration {
public:
    explicit SPXAudioConfiguration(std::shared_ptr<SPXPushAudioInputStream> stream)
        : stream_(std::move(stream)) {}

    const std::shared_ptr<SPXPushAudioInputStream>& stream() const { return stream_; }

private:
    std::shared_ptr<SPXPushAudioInputStream> stream_;
};

} // namespace parlowen
