#pragma once

#include <AVFoundation/AVAudioEngine.h>
#include <Foundation/Result.h>
#include <Foundation/SerialQueue.h>
#include <Speech/SPXRecognizer.h>
#include <Tools/SessionStatus.h>

#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace parlowen {

class AVAudioConverter;

/// Turns live sound into text: captures the current default input, converts each buffer to 16 kHz mono 16-bit PCM and
/// pushes it to a recognizer. While it runs, its recognizer and its tap keep it alive; stopRecognition() lets go.
///
/// A recognizer whose token is refused is followed by another one on the same sound, with the newest stored token;
/// where there is no newer one, it is asked for and waited for.
///
/// Starts, updateToken(), follow() and construction belong to the main thread, stopRecognition() to any thread.
/// Callbacks come on the recognizer's thread (a failed set-up reports on the caller's); each may be left out.
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

    /// How recognition fares, beside its results.
    struct Follower {
        /// Main thread. Its `waitingSeconds` is 0: ask for those.
        std::function<void(const RecognitionStatus&)> status;
        /// Main thread: no token is left to try.
        std::function<void()> tokenNeeded;
        /// On the recognizer's thread, in order with its results: so many seconds of sound are missing here.
        std::function<void(double seconds)> missed;
    };
    /// From the next start on.
    void follow(Follower follower) { follower_ = std::move(follower); }

    /// Captured seconds that still have to be sent to the service. Any thread.
    double waitingSeconds() const;
    /// So many seconds were not captured; they are told as missed in their place. Main thread.
    void noteGap(double seconds);

    /// No more sound comes: what was captured is recognised to its end, then the status is Finished. Main thread.
    void endSound();

    /// Ends capture and recognition; does nothing unless started. After it no callback comes, except on a recognizer
    /// thread that calls it, whose own call returns first.
    void stopRecognition();

    /// For the next set-up; the running recognizer keeps the token that it was made with.
    void updateToken(QString token);

    /// What an error callback is told of a cancellation.
    static QString cancellationText(const SPXCanceledEvent& event) {
        return event.errorDetails ? event.errorDetails->english : "Unknown error";
    }

    bool isRecognizing() const { return isRecognizing_; }

    /// Frames at 16 kHz that a captured buffer gives, rounded down; 0 for a rate (Hz) that is not positive.
    static std::uint32_t convertedFrames(std::uint32_t frameLength, double rate);

private:
    struct Conversion;

    /// Calls a copy, so that the callback may start the tool anew and with that replace itself.
    template<class Callback, class... Arguments>
    static void call(Callback callback, const Arguments&... arguments) {
        if (callback)
            callback(arguments...);
    }

    SpeechRecognitionTool(QString token, QString region, CaptureSourceFactory capture);
    /// Makes a recognizer; it is not started yet.
    using SetUp = std::function<Result<void>()>;
    struct SetUpTexts {
        const char* logged;
        const char* reported;
    };

    void start(SetUp setUp, SetUpTexts texts);
    void setUp(bool isAgain);
    Result<void> setUpLocked();
    void setUpFailed(const QString& description);
    void addFateHandlers(SPXRecognizer& recognizer);
    void recover(const SPXCanceledEvent& event);
    void renew(RecognitionStatus::Cause cause, const BilingualText& details);
    void needToken(RecognitionStatus::Cause cause, const BilingualText& details);
    void report(RecognitionStatus::State state, RecognitionStatus::Cause cause = RecognitionStatus::Cause::None,
                const BilingualText& details = {}) const;
    Result<void> setupRecognizer(const QString& language);
    Result<void> setupTranslationRecognizer(const QString& source, const QString& target);
    void addHandlers(SPXRecognizer& recognizer, SPXRecognitionEventHandler onPartial,
                     SPXRecognitionEventHandler onFinal);
    void openPushStream();
    void startAudioEngine();
    static void convertAndPush(const std::shared_ptr<AVAudioPCMBuffer>& buffer, const Conversion& conversion);

    std::optional<QString> token_;
    std::optional<QString> region_;
    AVAudioEngine audioEngine_;
    SerialQueue conversionQueue_;
    std::optional<SPXSpeechConfiguration> speechConfig_;
    std::optional<SPXAudioConfiguration> audioConfig_;
    /// Guards the recognizers and the stream's field; never held while a recognizer ends, which waits for its handlers.
    mutable std::mutex mutex_;
    std::unique_ptr<SPXSpeechRecognizer> recognizer_;
    std::unique_ptr<SPXTranslationRecognizer> translationRecognizer_;
    std::shared_ptr<SPXPushAudioInputStream> pushStream_;
    std::atomic<bool> isRecognizing_ = false;
    SetUp setUp_; ///< of the last start
    SetUpTexts setUpTexts_{};
    std::uint64_t recognizers_ = 0;       ///< set up so far; what an earlier one still tells is late
    std::optional<QString> usedToken_;    ///< of the last set-up
    bool needsToken_ = false;             ///< a newer token is waited for
    std::atomic<bool> isRenewed_ = false; ///< the token in use follows a refusal, and no result has come since
    Follower follower_;
    TextCallback onResultCallback_;
    TextCallback onIntermediateResultCallback_;
    TextCallback onErrorCallback_;
    PairCallback onTranslationIntermediateCallback_;
    PairCallback onTranslationResultCallback_;
};

} // namespace parlowen
