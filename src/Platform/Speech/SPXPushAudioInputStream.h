#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace parlowen {

/// Audio on its way to a recognizer: PCM, 16-bit little-endian samples, 16 kHz, one channel. One side writes, one
/// recognizer reads. Any thread.
class SPXPushAudioInputStream {
public:
    /// At most this many bytes (10 minutes) wait for the recognizer; what is written beyond that is dropped.
    static constexpr std::size_t maxWaiting = std::size_t{10} * 60 * 32'000;

    /// Appends audio. Dropped once the stream is closed or its recognizer has given up.
    void write(std::string_view bytes);
    void write(std::string&& bytes);

    /// Ends the audio. What was written before still goes to the recognizer.
    void close();

    /// For the recognizer: becomes the only reader. `onReadable` is called on a writing thread when there is something
    /// to read after read() had emptied the stream, and on the close; false when there is a reader already.
    bool attach(std::function<void()> onReadable);
    /// For the recognizer: reads no more. After it returns `onReadable` is not called; later writes are dropped.
    void detach();
    /// For the recognizer: appends at most `maxBytes` to `bytes`.
    void read(std::size_t maxBytes, std::string& bytes);
    /// For the recognizer: true once the stream is closed and read to its end.
    bool atEnd() const;

private:
    enum class Reader { None, Attached, Gone };

    mutable std::mutex mutex_;
    std::deque<std::string> chunks_;
    std::size_t firstChunkRead_ = 0; ///< bytes of the first chunk that were read
    std::size_t waiting_ = 0;
    bool closed_ = false;
    Reader reader_ = Reader::None;
    std::function<void()> onReadable_;
};

} // namespace parlowen
