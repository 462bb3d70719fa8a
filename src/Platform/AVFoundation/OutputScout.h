#pragma once

#include "PulseInputStream.h"

#include <deque>
#include <memory>
#include <vector>

namespace parlowen {

/// Listens to another output beside the one that is heard, whether there is sound, and keeps the last second of it, so
/// that nothing is lost when it is turned to. All of it under the client's lock.
class OutputScout {
public:
    OutputScout(const InputShape& shape, std::uint32_t framesPerPiece);
    OutputScout(const OutputScout&) = delete;
    OutputScout& operator=(const OutputScout&) = delete;

    /// Listens there; goes on where it does already.
    void watch(pa_context* context, const InputTarget& target);
    /// Goes on with a stream that is open.
    void adopt(std::unique_ptr<PulseInputStream> stream);
    void stop();

    bool isListening() const { return stream_ != nullptr; }
    OutputTurn::Scouted scouted() const;

    /// Gives the stream away, and what was heard of it last (interleaved samples).
    std::unique_ptr<PulseInputStream> release(std::vector<float>& kept);

private:
    PulseInputStream::Hooks hooks();
    void begin(std::unique_ptr<PulseInputStream> stream);
    void read();
    void take(const float* samples, std::size_t frames);
    double secondsOf(std::size_t frames) const { return static_cast<double>(frames) / shape_.spec.rate; }

    const InputShape shape_;
    const std::uint32_t framesPerPiece_;
    std::unique_ptr<PulseInputStream> stream_;
    std::deque<float> kept_;
    std::size_t sounding_ = 0; ///< frames of pieces with sound
    std::size_t silent_ = 0;   ///< frames since
};

} // namespace parlowen
