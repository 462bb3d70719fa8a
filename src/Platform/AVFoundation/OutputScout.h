#pragma once

#include "PulseInputStream.h"

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace parlowen {

/// What a recording of an output does about a call that may play into another one. A value, decided anew at each tick.
struct OutputTurn {
    /// What is known of the output that the scout listens to.
    struct Scouted {
        std::string sink;   ///< empty: it listens to none
        double sound = 0;   ///< seconds of sound so far
        double silence = 0; ///< seconds of silence since the last of it
    };

    std::string watch;   ///< the output to listen to beside the one that is heard; empty: none
    bool offers = false; ///< the user is offered to listen there
    bool turns = false;  ///< the session turns there
    bool isOver = false; ///< what was turned to plays no more, or there is nothing to go back to

    /// While an output is heard that nothing was turned from: after two seconds of `quiet` there, others into which
    /// programs play are listened to in turn, three seconds each while they are silent. One that sounds is offered, and
    /// with a second of sound, after five seconds of quiet, turned to, unless the user has chosen what is heard.
    static OutputTurn away(const PulseSnapshot& server, const std::string& heard, bool isChosen,
                           std::chrono::microseconds quiet, const Scouted& scouted);
    /// While another output is heard in place of the default one: back to that as soon as it sounds, for a fifth of a
    /// second, or when nothing plays into the other one any more.
    static OutputTurn back(const PulseSnapshot& server, const std::string& heard, const Scouted& scouted);
};

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
