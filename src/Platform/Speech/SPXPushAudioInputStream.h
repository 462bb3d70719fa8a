#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace parlowen {

/// The newest audio of a session, kept until it has had its result: what was not sent yet, and what would have to be
/// sent again. A value. Positions count the bytes of all audio of the session, from 0.
class SpeechBacklog {
public:
    static constexpr std::size_t bytesPerSecond = 32'000;
    /// At most this much (60 s) is kept; of more the oldest is forgotten.
    static constexpr std::size_t limit = 60 * bytesPerSecond;

    std::uint64_t begin() const { return begin_; }
    std::uint64_t end() const { return begin_ + bytes_.size() - spent_; }

    void append(std::string_view bytes);
    /// At most `count` bytes from a position, or from begin() when that lies behind the position.
    std::string_view read(std::uint64_t position, std::size_t count) const;
    /// Forgets what lies before the position.
    void dropBefore(std::uint64_t position);

private:
    std::string bytes_;
    std::size_t spent_ = 0;   ///< bytes at the front that are forgotten, though not yet moved away
    std::uint64_t begin_ = 0; ///< of the first byte that is not
};

/// Audio on its way to a recognizer: PCM, 16-bit little-endian samples, 16 kHz, one channel. One side writes, one
/// recognizer at a time reads; when it has ended another one may go on where the final results end. Any thread.
///
/// What has had no final result is kept, 60 s at most. Of more the oldest is dropped, and told as a gap to the reader,
/// as are gaps that the writer knows of.
class SPXPushAudioInputStream {
public:
    /// Appends audio. Dropped once the stream is closed.
    void write(std::string_view bytes);

    /// So many seconds of sound are missing between what was written and what will be.
    void noteGap(double seconds);

    /// Ends the audio. What was written before still goes to the recognizer.
    void close();

    /// Seconds of audio that still has to be sent to the service.
    double waitingSeconds() const;

    /// For the recognizer: becomes the reader. `onReadable` is called on a writing thread when there is something to
    /// read after a read had found too little, and on the close; false when there is a reader already.
    bool attach(std::function<void()> onReadable);
    /// For the recognizer: reads no more. After it returns `onReadable` is not called.
    void detach();

    /// For the recognizer: begins anew where the final results end, or 15 s before what is settled, if that is later.
    /// Returns the position of the first byte to come. What was dropped from there on becomes a gap.
    std::uint64_t rewind();

    struct Piece {
        std::uint64_t position; ///< of its first byte
        std::string bytes;
        bool atEnd; ///< nothing follows: the stream is closed
    };
    /// For the recognizer: `count` bytes from where it has read to, fewer only at the end of a closed stream, else
    /// none. When what would follow was dropped, it goes on behind that, and that is a gap.
    Piece read(std::size_t count);
    /// For the recognizer: whether a read would find that many bytes, or the end.
    bool hasMore(std::size_t count) const;

    /// For the recognizer: whether the stream is closed and all its audio has had its result.
    bool isRecognized() const;

    /// For the recognizer: forgets the audio before the position, which has had its result.
    void release(std::uint64_t position);
    /// For the recognizer: the service has heard what lies before the position, and found no sentence in it. If it is
    /// dropped that is no gap.
    void settle(std::uint64_t position);
    /// For the recognizer: the seconds that are missing up to the position, told once.
    double takeGaps(std::uint64_t position);
    /// For the recognizer: whether there are gaps before what it has read to.
    bool hasPassedGap() const;

private:
    struct Gap {
        std::uint64_t position;
        double seconds;
    };
    bool ready(std::size_t count) const;
    void addGap(std::uint64_t from, std::uint64_t to);

    mutable std::mutex mutex_;
    SpeechBacklog backlog_;
    std::deque<Gap> gaps_;                            ///< by position
    std::pair<std::uint64_t, std::uint64_t> dropped_; ///< the last stretch that became a gap, from and to
    std::uint64_t next_ = 0;                          ///< of the next byte to read
    std::uint64_t settled_ = 0;                       ///< what lies before is recognized, or known to hold nothing
    bool closed_ = false;
    mutable bool hungry_ = true; ///< the reader waits for more
    std::function<void()> onReadable_;
};

} // namespace parlowen
