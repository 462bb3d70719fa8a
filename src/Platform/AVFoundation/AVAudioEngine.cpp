#include "AVAudioEngine.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace parlowen {

namespace {
constexpr std::uint32_t usualBufferSize = 2048; // frames
}

struct AVAudioInputNode::Tap {
    /// Held while the block runs, so that a removal waits for it; recursive, so that the block may remove its own tap.
    std::recursive_mutex mutex;
    std::shared_ptr<const TapBlock> block;
    std::atomic<std::uint32_t> bufferSize = usualBufferSize;
};

AVAudioInputNode::AVAudioInputNode(LookUp lookUp)
    : lookUp_(std::move(lookUp))
    , tap_(std::make_unique<Tap>()) {}

AVAudioInputNode::~AVAudioInputNode() = default;

std::optional<AVAudioFormat> AVAudioInputNode::outputFormat(int bus) const {
    return bus == 0 ? lookUp_() : std::nullopt;
}

void AVAudioInputNode::installTap(int bus, std::uint32_t bufferSize, const AVAudioFormat& /*format*/, TapBlock block) {
    if (bus != 0 || !block)
        return;
    const std::lock_guard lock(tap_->mutex);
    tap_->bufferSize = bufferSize > 0 ? bufferSize : usualBufferSize;
    tap_->block = std::make_shared<const TapBlock>(std::move(block));
}

void AVAudioInputNode::removeTap(int bus) {
    if (bus != 0)
        return;
    const std::lock_guard lock(tap_->mutex);
    tap_->block.reset();
}

void AVAudioInputNode::deliver(std::shared_ptr<AVAudioPCMBuffer> buffer) {
    const std::lock_guard lock(tap_->mutex);
    const std::shared_ptr<const TapBlock> block = tap_->block;
    if (block)
        (*block)(std::move(buffer));
}

std::uint32_t AVAudioInputNode::bufferSize() const { return tap_->bufferSize; }

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

Result<void> AVAudioEngine::start() {
    const std::lock_guard lock(mutex_);
    if (running_)
        return {};
    if (!source_ && factory_)
        source_ = factory_();
    if (!source_)
        return failure(QStringLiteral("There is no input to capture from."));
    const auto deliver = [this](std::shared_ptr<AVAudioPCMBuffer> buffer) { inputNode_.deliver(std::move(buffer)); };
    Result<void> started = source_->start(inputNode_.bufferSize(), deliver);
    running_ = started.has_value();
    if (!started)
        source_.reset();
    return started;
}

void AVAudioEngine::stop() {
    const std::lock_guard lock(mutex_);
    if (source_)
        source_->stop();
    source_.reset();
    running_ = false;
}

} // namespace parlowen
