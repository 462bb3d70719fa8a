#pragma once

#include <AVFoundation/CaptureSource.h>

#include <QString>
#include <functional>
#include <memory>

namespace parlowen {

/// A source of sound that tells its owner when it cannot deliver any: a session goes on without sound, but a program
/// that waits for its end must know. Otherwise it is the source that it wraps.
class WatchedSource : public CaptureSource {
public:
    /// Called on the thread that opens the source, once at most, with what is wrong.
    using Failed = std::function<void(const QString& problem)>;

    WatchedSource(std::unique_ptr<CaptureSource> source, Failed failed);

    std::optional<AVAudioFormat> format() override;
    Result<void> start(std::uint32_t framesPerBuffer, Sink sink) override;
    void stop() override { source_->stop(); }

private:
    void fail(const QString& problem);

    std::unique_ptr<CaptureSource> source_;
    Failed failed_;
};

} // namespace parlowen
