#include "AVAudioEngine.h"

#include <utility>

namespace parlowen {

AVAudioEngine::AVAudioEngine(CaptureSourceFactory factory)
    : factory_(std::move(factory))
    , inputNode_([this] { return lookUpInput(); }) {}

AVAudioEngine::~AVAudioEngine() { stop(); }

std::optional<AVAudioFormat> AVAudioEngine::lookUpInput() {
    const std::lock_guard lock(mutex_);
    if (!running_)
        source_ = factory_ ? factory_() : nullptr;
    return source_ ? source_->format() : std::nullopt;
}

std::optional<QString> AVAudioEngine::start() {
    const std::lock_guard lock(mutex_);
    if (running_)
        return std::nullopt;
    if (!source_ && factory_)
        source_ = factory_();
    if (!source_)
        return QStringLiteral("There is no input to capture from.");
    const auto deliver = [this](std::shared_ptr<AVAudioPCMBuffer> buffer) { inputNode_.deliver(std::move(buffer)); };
    std::optional<QString> error = source_->start(inputNode_.bufferSize(), deliver);
    running_ = !error;
    if (error)
        source_.reset();
    return error;
}

void AVAudioEngine::stop() {
    const std::lock_guard lock(mutex_);
    if (source_)
        source_->stop();
    source_.reset();
    running_ = false;
}

} // namespace parlowen
