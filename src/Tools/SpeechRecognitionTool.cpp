#include "SpeechRecognitionTool.h"

#include <AVFoundation/AVAudioConverter.h>
#include <Foundation/ConsoleLog.h>

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace parlowen {

namespace {

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

std::optional<QString> SpeechRecognitionTool::setupRecognizer(const QString& language) {
    QString error;
    std::optional<SPXSpeechConfiguration> configuration = SPXSpeechConfiguration::make(*token_, *region_, &error);
    if (!configuration)
        return error;
    speechConfig_ = std::move(configuration);
    speechConfig_->setSpeechRecognitionLanguage(language);
    recognizer_ = SPXSpeechRecognizer::make(*speechConfig_, *audioConfig_, &error);
    if (!recognizer_)
        return error;
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
    return std::nullopt;
}

std::optional<QString> SpeechRecognitionTool::setupTranslationRecognizer(const QString& source, const QString& target) {
    QString error;
    auto configuration = SPXSpeechTranslationConfiguration::make(*token_, *region_, &error);
    if (!configuration)
        return error;
    configuration->setSpeechRecognitionLanguage(source);
    configuration->addTargetLanguage(target);
    translationRecognizer_ = SPXTranslationRecognizer::make(*configuration, *audioConfig_, &error);
    if (!translationRecognizer_)
        return error;
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
    return std::nullopt;
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
