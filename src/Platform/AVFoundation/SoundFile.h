#pragma once

#include <QString>
#include <memory>

#include <sndfile.h>

namespace parlowen {

/// A sound file open for reading.
class SoundFile {
public:
    /// Check isOpen(): whatever is no readable sound file is simply not open.
    explicit SoundFile(const QString& path);

    bool isOpen() const { return handle_ != nullptr; }
    int sampleRate() const { return info_.samplerate; }
    int channelCount() const { return info_.channels; }
    /// Reads up to that many frames, interleaved; fewer only at the sound's end or at a fault.
    sf_count_t read(float* samples, sf_count_t frames);
    /// True once the last frame was read, or nothing more can be read.
    bool atEnd() const { return atEnd_; }

private:
    struct Close {
        void operator()(SNDFILE* handle) const { sf_close(handle); }
    };
    SF_INFO info_{};
    std::unique_ptr<SNDFILE, Close> handle_;
    sf_count_t position_ = 0;
    bool atEnd_ = false;
};

} // namespace parlowen
