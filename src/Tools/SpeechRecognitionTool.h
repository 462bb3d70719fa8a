#pragma once

#include <AVFoundation/AVAudioEngine.h>
#include <Foundation/SerialQueue.h>
#include <Speech/SPXAudioConfiguration.h>
#include <Speech/SPXPushAudioInputStream.h>
#include <Speech/SPXSpeechConfiguration.h>
#include <Speech/SPXSpeechRecognizer.h>
#include <Speech/SPXTranslationRecognizer.h>

#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace parlowen {

class AVAudioConverter;

/// Turns live sound into text: captures the current default input, converts each buffer to 16 kHz mono 16-bit PCM and
/// pushes it to a recognizer. While it runs, its recognizer and its tap keep it alive; stopRecognition() lets go.
///
/// Starts, updateToken() and construction belong to the main thread, stopRecognition() to any thread. Callbacks come on
/// the recognizer's thread (a failed set-up reports on the caller's); each may be left out.
class SpeechRecognitionTool : public std::enable_shared_from_this<SpeechRecognitionTool> {
public:
    using TextCallback = std::function<void(const QString& text)>;
    using PairCallback = std::function<void(const QString& text, const QString& translation)>;

    static constexpr int sampleRate = 16000;          ///< of the audio that is pushed, Hz
    static constexpr std::uint32_t bufferSize = 2048; ///< frames per buffer that are asked of the tap

    /// `region` is a region name of the cloud service or the base URL of another one.
    static std::shared_ptr<SpeechRecognitionTool> make(QString token, QString region, CaptureSourceFactory capture);

    ~SpeechRecognitionTool();
    SpeechRecognitionTool(const SpeechRecognitionTool&) = delete;
    SpeechRecognitionTool& operator=(const SpeechRecognitionTool&) = delete;

    /// Recognizes `language` (a locale such as "zh-CN"): final texts, partial texts, and failures as text. Stops what
    /// runs first. It counts as started even when the set-up fails.
    void startRecognition(const QString& language, TextCallback onResult, TextCallback onIntermediateResult,
                          TextCallback onError);

    /// The same with translation from `source` (a locale) into `target` (a code such as "en").
    void startTranslation(const QString& source, const QString& target, TextCallback onResult,
                          PairCallback onTranslationIntermediate, TextCallback onError,
                          PairCallback onTranslationResult);

    /// Ends capture and recognition; does nothing unless started. After it no callback comes, except on a recognizer
    /// thread that calls it, whose own call returns first.
    void stopRecognition();

    /// For the next start; the running recognizer keeps the token that it was made with.
    void updateToken(QString token) { token_ = std::move(token); }

    /// What an error callback is told of a cancellation.
    static QString cancellationText(const SPXCanceledEvent& event) {
        return event.errorDetails.value_or("Unknown error");
    }

    bool isRecognizing() const { return isRecognizing_; }

    /// Frames at 16 kHz that a captured buffer gives, rounded down; 0 for a rate (Hz) that is not positive.
    static std::uint32_t convertedFrames(std::uint32_t frameLength, double rate);

private:
    struct Conversion;

    SpeechRecognitionTool(QString token, QString region, CaptureSourceFactory capture);
    std::optional<QString> setupRecognizer(const QString& language);
    std::optional<QString> setupTranslationRecognizer(const QString& source, const QString& target);
    void addHandlers(SPXRecognizer& recognizer, SPXRecognitionEventHandler onPartial,
                     SPXRecognitionEventHandler onFinal);
    void openPushStream();
    void reportSetupFailure(const QString& logged, const QString& reported, const QString& description) const;
    void startAudioEngine();
    static void convertAndPush(const std::shared_ptr<AVAudioPCMBuffer>& buffer, const Conversion& conversion);

    std::optional<QString> token_;
    std::optional<QString> region_;
    AVAudioEngine audioEngine_;
    SerialQueue conversionQueue_;
    std::optional<SPXSpeechConfiguration> speechConfig_;
    std::optional<SPXAudioConfiguration> audioConfig_;
    std::unique_ptr<SPXSpeechRecognizer> recognizer_;
    std::unique_ptr<SPXTranslationRecognizer> translationRecognizer_;
    std::shared_ptr<SPXPushAudioInputStream> pushStream_;
    std::atomic<bool> isRecognizing_ = false;
    TextCallback onResultCallback_;
    TextCallback onIntermediateResultCallback_;
    TextCallback onErrorCallback_;
    PairCallback onTranslationIntermediateCallback_;
    PairCallback onTranslationResultCallback_;
};

} // namespace parlowen
