#pragma once

#include "AVAudioPCMBuffer.h"
#include "CaptureSource.h"

#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace parlowen {

/// The input side of an engine, with one bus (0). Any thread; it lives as long as its engine.
class AVAudioInputNode {
public:
    /// Called on an audio thread with each captured buffer. It must not throw, wait for a thread that removes the tap,
    /// or stop the engine.
    using TapBlock = std::function<void(std::shared_ptr<AVAudioPCMBuffer>)>;

    ~AVAudioInputNode();
    AVAudioInputNode(const AVAudioInputNode&) = delete;
    AVAudioInputNode& operator=(const AVAudioInputNode&) = delete;

    /// What the current default input delivers; none when there is no usable input, or for another bus. While the
    /// engine does not run, each call looks the input up anew, which may take a moment.
    std::optional<AVAudioFormat> outputFormat(int bus) const;

    /// From now on each captured buffer goes to the block, in place of an earlier one. `bufferSize` is in frames and
    /// counts from the next start of the engine. Buffers come as the input gives them, which is `format` when the
    /// caller passes what outputFormat() said. Does nothing for another bus.
    void installTap(int bus, std::uint32_t bufferSize, const AVAudioFormat& format, TapBlock block);

    /// After it returns no call of the block comes or runs. Harmless without a tap.
    void removeTap(int bus);

private:
    friend class AVAudioEngine;
    using LookUp = std::function<std::optional<AVAudioFormat>()>;
    explicit AVAudioInputNode(LookUp lookUp);
    void deliver(std::shared_ptr<AVAudioPCMBuffer> buffer);
    std::uint32_t bufferSize() const;

    struct Tap;
    LookUp lookUp_;
    std::unique_ptr<Tap> tap_;
};

/// Captures from the current default input and hands the sound to the tap of its input node. Every operation may be
/// called on any thread, but not from the tap's block.
class AVAudioEngine {
public:
    explicit AVAudioEngine(CaptureSourceFactory factory);
    ~AVAudioEngine();
    AVAudioEngine(const AVAudioEngine&) = delete;
    AVAudioEngine& operator=(const AVAudioEngine&) = delete;

    /// The node of the current default input: what it stands for is looked up anew for each start.
    AVAudioInputNode& inputNode() { return inputNode_; }

    /// Starts to capture; does nothing while it runs. Fails with the source's text.
    Result<void> start();

    /// Returns once no more sound comes. The tap stays installed.
    void stop();

    bool isRunning() const { return running_; }

private:
    std::optional<AVAudioFormat> lookUpInput();

    const CaptureSourceFactory factory_;
    std::mutex mutex_;                      ///< guards source_; held while the source starts and stops
    std::unique_ptr<CaptureSource> source_; ///< the input last looked up, until the stop
    std::atomic<bool> running_ = false;
    AVAudioInputNode inputNode_;
};

} // namespace parlowen
