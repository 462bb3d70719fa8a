#pragma once

#include "AVAudioInputNode.h"
#include "CaptureSource.h"

#include <QString>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

namespace parlowen {

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

    /// Starts to capture; does nothing while it runs. Returns an error text, or none when it runs.
    std::optional<QString> start();

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
