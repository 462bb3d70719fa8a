#include "SpeechRecognitionTool.h"

#include <AVFoundation/AVAudioConverter.h>
#include <Foundation/ConsoleLog.h>
#include <Foundation/MainQueue.h>

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace parlowen {

namespace {

using State = RecognitionStatus::State;
using Cause = RecognitionStatus::Cause;

Cause causeOf(SPXTrouble trouble) {
    switch (trouble) {
    case SPXTrouble::NoConnection:
        return Cause::NoNetwork;
    case SPXTrouble::Busy:
        return Cause::ServiceBusy;
    case SPXTrouble::ServiceFailed:
        return Cause::ServiceFailed;
    case SPXTrouble::TokenRefused:
        return Cause::TokenRefused;
    case SPXTrouble::Denied:
        return Cause::Denied;
    case SPXTrouble::SessionRefused:
    case SPXTrouble::BadSettings:
        return Cause::BadSettings;
    case SPXTrouble::NoSuchService:
        return Cause::NoSuchService;
    case SPXTrouble::UntrustedService:
        return Cause::UntrustedService;
    }
    return Cause::ServiceFailed;
}

bool hasText(const SPXRecognitionResult& result) { return result.text && !result.text->isEmpty(); }

std::string pcmData(const AVAudioPCMBuffer& buffer) {
    const std::size_t length =
        std::size_t{buffer.frameLength()} * static_cast<std::size_t>(buffer.format().bytesPerFrame());
    std::string bytes;
    if (const std::int16_t* samples = buffer.int16ChannelData(0))
        bytes.assign(reinterpret_cast<const char*>(samples), length);
    return bytes;
}

} // namespace

/// What one start converts with; its stream stays the same, so buffers that are late go to a closed stream.
struct SpeechRecognitionTool::Conversion {
    AVAudioFormat target;
    std::unique_ptr<AVAudioConverter> converter;
    std::shared_ptr<SPXPushAudioInputStream> stream;
};

std::shared_ptr<SpeechRecognitionTool> SpeechRecognitionTool::make(QString token, QString region,
                                                                   CaptureSourceFactory capture) {
    return std::shared_ptr<SpeechRecognitionTool>(
        new SpeechRecognitionTool(std::move(token), std::move(region), std::move(capture)));
}

SpeechRecognitionTool::SpeechRecognitionTool(QString token, QString region, CaptureSourceFactory capture)
    : token_(std::move(token))
    , region_(std::move(region))
    , audioEngine_(std::move(capture))
    , conversionQueue_("conversionQueue") {}

SpeechRecognitionTool::~SpeechRecognitionTool() = default;

void SpeechRecognitionTool::startRecognition(const QString& language, TextCallback onResult,
                                             TextCallback onIntermediateResult, TextCallback onError) {
    stopRecognition();
    onResultCallback_ = std::move(onResult);
    onIntermediateResultCallback_ = std::move(onIntermediateResult);
    onErrorCallback_ = std::move(onError);
    start([this, language] { return setupRecognizer(language); }, {"设置识别器失败：", "Recognizer setup failed: "});
}

void SpeechRecognitionTool::startTranslation(const QString& source, const QString& target, TextCallback onResult,
                                             PairCallback onTranslationIntermediate, TextCallback onError,
                                             PairCallback onTranslationResult) {
    stopRecognition();
    onResultCallback_ = std::move(onResult);
    onTranslationIntermediateCallback_ = std::move(onTranslationIntermediate);
    onErrorCallback_ = std::move(onError);
    onTranslationResultCallback_ = std::move(onTranslationResult);
    start([this, source, target] { return setupTranslationRecognizer(source, target); },
          {"设置翻译识别器失败：", "Translation recognizer setup failed: "});
}

void SpeechRecognitionTool::start(SetUp setUp, SetUpTexts texts) {
    setUp_ = std::move(setUp);
    setUpTexts_ = texts;
    {
        const std::lock_guard lock(mutex_);
        openPushStream();
    }
    isRenewed_ = false;
    report(RecognitionStatus::State::Starting);
    this->setUp(false);
    startAudioEngine();
    isRecognizing_ = true;
}

Result<void> SpeechRecognitionTool::setupRecognizer(const QString& language) {
    auto configuration = SPXSpeechConfiguration::make(*token_, *region_);
    if (!configuration)
        return failure(configuration.error());
    speechConfig_ = std::move(*configuration);
    speechConfig_->setSpeechRecognitionLanguage(language);
    auto recognizer = SPXSpeechRecognizer::make(*speechConfig_, *audioConfig_);
    if (!recognizer)
        return failure(recognizer.error());
    recognizer_ = std::move(*recognizer);
    const auto tool = shared_from_this();
    addHandlers(
        *recognizer_,
        [tool](const SPXRecognitionEvent& event) {
            if (hasText(event.result))
                call(tool->onIntermediateResultCallback_, *event.result.text);
        },
        [tool](const SPXRecognitionEvent& event) {
            if (hasText(event.result))
                call(tool->onResultCallback_, *event.result.text);
        });
    return {};
}

Result<void> SpeechRecognitionTool::setupTranslationRecognizer(const QString& source, const QString& target) {
    auto configuration = SPXSpeechTranslationConfiguration::make(*token_, *region_);
    if (!configuration)
        return failure(configuration.error());
    configuration->setSpeechRecognitionLanguage(source);
    configuration->addTargetLanguage(target);
    auto recognizer = SPXTranslationRecognizer::make(*configuration, *audioConfig_);
    if (!recognizer)
        return failure(recognizer.error());
    translationRecognizer_ = std::move(*recognizer);
    const auto tool = shared_from_this();
    addHandlers(
        *translationRecognizer_,
        [tool, target](const SPXRecognitionEvent& event) {
            const auto translation = event.result.translations.constFind(target);
            if (translation != event.result.translations.constEnd())
                call(tool->onTranslationIntermediateCallback_, event.result.text.value_or(QString()), *translation);
        },
        [tool, target](const SPXRecognitionEvent& event) {
            if (!hasText(event.result))
                return;
            call(tool->onResultCallback_, *event.result.text);
            const auto translation = event.result.translations.constFind(target);
            if (translation != event.result.translations.constEnd())
                call(tool->onTranslationResultCallback_, *event.result.text, *translation);
        });
    return {};
}

void SpeechRecognitionTool::addHandlers(SPXRecognizer& recognizer, SPXRecognitionEventHandler onPartial,
                                        SPXRecognitionEventHandler onFinal) {
    recognizer.addRecognizedEventHandler([this, onFinal = std::move(onFinal)](const SPXRecognitionEvent& event) {
        isRenewed_ = false;
        onFinal(event);
    });
    recognizer.addRecognizingEventHandler(std::move(onPartial));
    addFateHandlers(recognizer);
}

void SpeechRecognitionTool::setUp(bool isAgain) {
    std::unique_ptr<SPXSpeechRecognizer> recognizer; // end after the lock
    std::unique_ptr<SPXTranslationRecognizer> translationRecognizer;
    Result<void> done;
    {
        const std::lock_guard lock(mutex_);
        if (isAgain && !isRecognizing_)
            return;
        recognizer = std::move(recognizer_);
        translationRecognizer = std::move(translationRecognizer_);
        done = setUpLocked();
    }
    if (!done)
        setUpFailed(done.error());
}

Result<void> SpeechRecognitionTool::setUpLocked() {
    ++recognizers_;
    usedToken_ = token_;
    needsToken_ = false;
    if (const Result<void> made = setUp_(); !made)
        return made;
    return recognizer_ ? recognizer_->startContinuousRecognition()
                       : translationRecognizer_->startContinuousRecognition();
}

void SpeechRecognitionTool::setUpFailed(const QString& description) {
    consoleLog("[SpeechRecognitionTool] " + QString(setUpTexts_.logged) + description);
    call(onErrorCallback_, QString(setUpTexts_.reported) + description);
    if (!SpeechEndpoint::make(*region_))
        report(State::Stopped, Cause::NoSuchService,
               {description, QString("“%1”不是识别服务的区域或地址").arg(*region_)});
    else if (!SPXSpeechConfiguration::make(*token_, *region_))
        needToken(Cause::TokenMissing, {description, "识别服务的令牌缺失或无效"});
    else
        report(State::Stopped, Cause::BadSettings, {description, "识别语言或翻译语言缺失"});
}

void SpeechRecognitionTool::addFateHandlers(SPXRecognizer& recognizer) {
    const auto tool = shared_from_this();
    const auto onMainWith = [weak = std::weak_ptr(tool), id = recognizers_](auto work) {
        onMain(weak, [id, work = std::move(work)](SpeechRecognitionTool& self) {
            if (self.isRecognizing_ && id == self.recognizers_)
                work(self);
        });
    };
    recognizer.addCanceledEventHandler([tool, onMainWith](const SPXCanceledEvent& event) {
        call(tool->onErrorCallback_, cancellationText(event));
        onMainWith([event](SpeechRecognitionTool& self) { self.recover(event); });
    });
    recognizer.addConnectionEventHandler([onMainWith](const SPXConnectionEvent& event) {
        onMainWith([event](SpeechRecognitionTool& self) {
            if (event.connected)
                self.report(State::Recognizing);
            else
                self.report(State::Reconnecting, causeOf(event.trouble), event.details);
        });
    });
    recognizer.addSessionStoppedEventHandler(
        [onMainWith] { onMainWith([](SpeechRecognitionTool& self) { self.report(State::Finished); }); });
    recognizer.addGapEventHandler([tool](const SPXGapEvent& event) { call(tool->follower_.missed, event.seconds); });
}

void SpeechRecognitionTool::recover(const SPXCanceledEvent& event) {
    const BilingualText details = event.errorDetails.value_or(Phrase{"Unknown error", "未知错误"}.both());
    const bool mayBeTheToken = event.trouble == SPXTrouble::SessionRefused && !isRenewed_;
    if (event.trouble == SPXTrouble::TokenRefused || event.trouble == SPXTrouble::Denied)
        renew(causeOf(event.trouble), details);
    else if (mayBeTheToken)
        renew(Cause::TokenRefused, details);
    else
        report(State::Stopped, causeOf(event.trouble), details);
}

void SpeechRecognitionTool::renew(Cause cause, const BilingualText& details) {
    if (token_ == usedToken_)
        return needToken(cause, details);
    report(State::Reconnecting, cause, details);
    isRenewed_ = true;
    setUp(true);
}

void SpeechRecognitionTool::needToken(Cause cause, const BilingualText& details) {
    needsToken_ = true;
    report(State::Reconnecting, cause, details);
    call(follower_.tokenNeeded);
}

void SpeechRecognitionTool::updateToken(QString token) {
    token_ = std::move(token);
    if (!needsToken_)
        return;
    isRenewed_ = true;
    setUp(true);
}

void SpeechRecognitionTool::report(State state, Cause cause, const BilingualText& details) const {
    call(follower_.status, RecognitionStatus{state, cause, details, 0});
}

double SpeechRecognitionTool::waitingSeconds() const {
    const std::lock_guard lock(mutex_);
    return pushStream_ ? pushStream_->waitingSeconds() : 0;
}

// Behind the sound that is still to be converted.
void SpeechRecognitionTool::noteGap(double seconds) {
    conversionQueue_.async([stream = pushStream_, seconds] {
        if (stream)
            stream->noteGap(seconds);
    });
}

void SpeechRecognitionTool::endSound() {
    conversionQueue_.async([stream = pushStream_] {
        if (stream)
            stream->close();
    });
}

void SpeechRecognitionTool::openPushStream() {
    pushStream_ = std::make_shared<SPXPushAudioInputStream>();
    audioConfig_.emplace(pushStream_);
}

void SpeechRecognitionTool::startAudioEngine() {
    AVAudioInputNode& input = audioEngine_.inputNode();
    const auto inputFormat = input.outputFormat(0);
    const auto target = AVAudioFormat::make(AVAudioCommonFormat::Int16, sampleRate, 1, false);
    auto converter = inputFormat && target ? AVAudioConverter::make(*inputFormat, *target) : nullptr;
    if (!converter) {
        consoleLog("[SpeechRecognitionTool] ❌ 音频格式转换器创建失败");
        return;
    }
    const auto conversion = std::make_shared<const Conversion>(Conversion{*target, std::move(converter), pushStream_});
    input.installTap(0, bufferSize, *inputFormat,
                     [tool = shared_from_this(), conversion](std::shared_ptr<AVAudioPCMBuffer> buffer) {
                         tool->conversionQueue_.async(
                             [conversion, buffer = std::move(buffer)] { convertAndPush(buffer, *conversion); });
                     });
    if (const Result<void> started = audioEngine_.start(); !started)
        consoleLog("❌ AudioEngine 启动失败: " + started.error());
    else
        consoleLog("✅ 🎤AudioEngine 启动成功，监听语音中...");
}

std::uint32_t SpeechRecognitionTool::convertedFrames(std::uint32_t frameLength, double rate) {
    const double duration = rate > 0 ? frameLength / rate : 0;
    constexpr double most = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(duration * sampleRate, most));
}

void SpeechRecognitionTool::convertAndPush(const std::shared_ptr<AVAudioPCMBuffer>& buffer,
                                           const Conversion& conversion) {
    const std::uint32_t capacity = convertedFrames(buffer->frameLength(), buffer->format().sampleRate());
    const std::shared_ptr<AVAudioPCMBuffer> output = AVAudioPCMBuffer::make(conversion.target, capacity);
    if (!output)
        return;
    output->setFrameLength(capacity);
    if (const Result<void> done = conversion.converter->convert(*output, [&buffer] { return buffer; }); !done)
        consoleLog("[SpeechRecognitionTool] ❌ 转换错误: " + done.error());
    else if (conversion.stream)
        conversion.stream->write(pcmData(*output));
}

void SpeechRecognitionTool::stopRecognition() {
    std::unique_ptr<SPXSpeechRecognizer> recognizer;
    std::unique_ptr<SPXTranslationRecognizer> translationRecognizer;
    if (!isRecognizing_.exchange(false))
        return;
    consoleLog("[SpeechRecognitionTool] 停止识别");
    audioEngine_.stop();
    audioEngine_.inputNode().removeTap(0);
    const std::lock_guard lock(mutex_);
    if (pushStream_)
        pushStream_->close();
    recognizer = std::move(recognizer_);
    translationRecognizer = std::move(translationRecognizer_);
}

} // namespace parlowen
