#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::recogniser {

/// Of the messages between parlowen-service and parlowen-recogniser; both come from one build, so another one is
/// refused.
inline constexpr int protocolVersion = 1;

inline constexpr int sampleRate = 16'000; ///< of all audio: mono, 16 bit, host byte order

/// One message of the pipe. Positions count samples of a stream's audio.
struct Frame {
    enum class Kind : std::uint8_t {
        // To the recogniser.
        Open = 'O',   ///< a stream begins; JSON: `at` is the position of its first sample
        Audio = 'A',  ///< samples of a stream, in host byte order
        Finish = 'F', ///< no more audio comes: the running utterance is finished
        Close = 'C',  ///< nothing of this stream is wanted any more
        // From the recogniser.
        Hello = 'H',   ///< first of all; JSON: `version` of the protocol
        Ready = 'R',   ///< the model is loaded; JSON: `capacity`, see Load
        Event = 'E',   ///< JSON, see StreamEvent.h
        Taken = 'T',   ///< JSON: audio up to `taken` is consumed, audio from `needed` on is kept for a replay
        Load = 'L',    ///< JSON: `capacity`, how many streams at once get their finals in time
        Problem = 'P', ///< plain text: why there is no recognition; the end follows
    };
    Kind kind = Kind::Problem;
    std::uint32_t stream = 0; ///< 0: of none
    std::string body;
};

/// Length (of what follows it), kind and stream, little-endian, then the body.
std::string encode(const Frame& frame);

/// Bytes in, frames out. A value: it knows no pipe.
class FrameParser {
public:
    static constexpr std::size_t longestBody = std::size_t{1} << 20;

    /// False once the bytes cannot be frames; nothing more is taken then.
    bool feed(std::string_view bytes);
    /// The next whole frame.
    std::optional<Frame> next();

private:
    std::string rest_;
    std::deque<Frame> frames_;
    bool broken_ = false;
};

} // namespace parlowen::recogniser
