#pragma once

#include <AVFoundation/CaptureSource.h>
#include <atomic>
#include <cmath>
#include <memory>
#include <optional>
#include <thread>

namespace parlowen::testing {

/// What a test says of its captures, which may be several one after another, and what was asked of them.
struct FakeInput {
    std::optional<AVAudioFormat> format = AVAudioFormat::make(AVAudioCommonFormat::Float32, 48000, 2, true);
    std::optional<QString> startError;
    /// Delivers silence by itself while it runs, as fast as this says; null: only what the test hands to `sink`.
    std::function<void(std::chrono::milliseconds length)> pace;

    std::atomic<std::uint32_t> framesPerBuffer = 0;
    std::atomic<int> made = 0, starts = 0, stops = 0, alive = 0;
    CaptureSource::Sink sink;

    void deliverTone(int buffers) const {
        for (int i = 0; i < buffers; ++i) {
            const auto buffer = AVAudioPCMBuffer::make(*format, 2048);
            buffer->setFrameLength(2048);
            for (std::uint32_t sample = 0; sample < 2 * 2048; ++sample)
                buffer->floatChannelData(0)[sample] = 0.5F * std::sin(0.13F * static_cast<float>(sample / 2));
            sink(buffer);
        }
    }
};

class FakeCapture : public CaptureSource {
public:
    explicit FakeCapture(std::shared_ptr<FakeInput> input)
        : input_(std::move(input)) {
        ++input_->made;
        ++input_->alive;
    }
    ~FakeCapture() override {
        running_ = false;
        --input_->alive;
    }
    std::optional<AVAudioFormat> format() override { return input_->format; }
    Result<void> start(std::uint32_t framesPerBuffer, Sink sink) override {
        ++input_->starts;
        if (input_->startError)
            return failure(*input_->startError);
        input_->framesPerBuffer = framesPerBuffer;
        input_->sink = sink;
        running_ = input_->pace != nullptr;
        if (running_)
            thread_ =
                std::jthread([this, framesPerBuffer, deliver = std::move(sink)] { run(framesPerBuffer, deliver); });
        return {};
    }
    void stop() override {
        ++input_->stops;
        running_ = false;
        thread_ = {};
        input_->sink = nullptr;
    }

private:
    void run(std::uint32_t frames, const Sink& deliver) {
        const auto length = std::chrono::milliseconds(static_cast<int>(frames * 1000 / input_->format->sampleRate()));
        for (; running_; input_->pace(length)) {
            auto buffer = AVAudioPCMBuffer::make(*input_->format, frames);
            buffer->setFrameLength(frames);
            deliver(std::move(buffer));
        }
    }

    const std::shared_ptr<FakeInput> input_;
    std::atomic<bool> running_ = false;
    std::jthread thread_;
};

} // namespace parlowen::testing
