#pragma once

#include "CaptureSource.h"
#include "InputStatus.h"

#include <QString>
#include <functional>
#include <memory>
#include <optional>

namespace parlowen {

/// Plays a sound file (WAV, FLAC, Ogg; any rate and channel count) into its sink in real time, as if it were a live
/// input: 32-bit float, interleaved, at the file's own rate. After the file's end it delivers silence until it is
/// stopped. Each start plays from the file's beginning.
class FileCapture : public CaptureSource {
public:
    struct Options {
        QString path;
        double speed = 1.0; ///< how many times faster than real time; above 0
        /// Called once a run, on the audio thread, when the file's last frame was delivered. It must not stop the
        /// capture.
        std::function<void()> onFinished;
        std::shared_ptr<InputMeter> meter = nullptr; ///< takes note of the level; may be null
    };

    explicit FileCapture(Options options);
    ~FileCapture() override;
    FileCapture(const FileCapture&) = delete;
    FileCapture& operator=(const FileCapture&) = delete;

    std::optional<AVAudioFormat> format() override;
    Result<void> start(std::uint32_t framesPerBuffer, Sink sink) override;
    void stop() override;

    /// Whether this file can be played; fails with the reason in plain words in the terminal's language. Reads only the
    /// file's beginning.
    static Result<void> check(const QString& path);

private:
    class Player;
    Options options_;
    std::unique_ptr<Player> player_;
};

} // namespace parlowen
