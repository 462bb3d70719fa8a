// What listening costs: the processor time of capturing a call (2048 frames at a time from the monitor of a sink of a
// private audio server, 48 kHz, stereo), converting it and pushing it to a recognizer's stream, beyond that of the same
// program when it idles for as long. In hundredths of one core.
#include "Measure.h"

#include <AVFoundation/AVAudioConverter.h>
#include <AVFoundation/AVAudioEngine.h>
#include <Foundation/SerialQueue.h>
#include <PulseAudio/PulseClient.h>
#include <Speech/SPXPushAudioInputStream.h>
#include <Tools/SpeechRecognitionTool.h>
#include <support/CallSound.h>
#include <support/PrivateAudioServer.h>

#include <QCoreApplication>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <sys/resource.h>

namespace {

using namespace parlowen;

constexpr std::uint32_t framesAsked = SpeechRecognitionTool::bufferSize;
constexpr std::size_t settling = 10; ///< chunks before the measurement
constexpr std::size_t chunks = 235;  ///< ten seconds
constexpr double targetPercent = 1;

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Time that passed, and what of it the program computed, since it was made. Seconds.
struct Span {
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    double computedBefore = processorSeconds();

    double computed() const { return processorSeconds() - computedBefore; }
    double passed() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); }
};

/// The way of sound from the engine's tap to the recognizer's stream, with a reader at its end.
class Pipeline {
public:
    explicit Pipeline(const AVAudioFormat& from)
        : converter_(AVAudioConverter::make(from, to_)) {
        stream_.attach([] {});
    }

    void take(std::shared_ptr<AVAudioPCMBuffer> buffer) {
        queue_.async([this, buffer = std::move(buffer)] { convertAndPush(buffer); });
    }

    bool waitForChunks(std::size_t count) {
        std::unique_lock lock(mutex_);
        awaited_ = count;
        return more_.wait_for(lock, std::chrono::minutes(1), [this, count] { return chunks_ >= count; });
    }

    /// Once no more sound is taken.
    std::size_t bytesPushed() {
        queue_.drain();
        return bytes_;
    }

private:
    void convertAndPush(const std::shared_ptr<AVAudioPCMBuffer>& buffer) {
        const std::uint32_t frames =
            SpeechRecognitionTool::convertedFrames(buffer->frameLength(), buffer->format().sampleRate());
        const std::shared_ptr<AVAudioPCMBuffer> output = AVAudioPCMBuffer::make(to_, frames);
        output->setFrameLength(frames);
        if (converter_->convert(*output, [&buffer] { return buffer; }))
            stream_.write(std::string(reinterpret_cast<const char*>(output->int16ChannelData(0)),
                                      output->frameLength() * sizeof(std::int16_t)));
        read();
        const std::lock_guard lock(mutex_);
        if (++chunks_ == awaited_)
            more_.notify_all();
    }

    void read() {
        while (stream_.hasMore(3200)) {
            const SPXPushAudioInputStream::Piece piece = stream_.read(3200);
            stream_.release(piece.position + piece.bytes.size());
            bytes_ += piece.bytes.size();
        }
    }

    const AVAudioFormat to_ =
        *AVAudioFormat::make(AVAudioCommonFormat::Int16, SpeechRecognitionTool::sampleRate, 1, false);
    std::unique_ptr<AVAudioConverter> converter_;
    SPXPushAudioInputStream stream_;
    std::size_t bytes_ = 0; ///< on the queue
    std::mutex mutex_;
    std::condition_variable more_;
    std::size_t chunks_ = 0;
    std::size_t awaited_ = 0; ///< whoever waits is woken once, not at every chunk: nobody does that in a session
    SerialQueue queue_{"conversionQueue"}; // goes first
};

/// Nothing to do, as a program that waits for its user has.
void idleFor(double seconds) {
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock lock(mutex);
    never.wait_for(lock, std::chrono::duration<double>(seconds), [] { return false; });
}

/// Percents of one core.
struct Load {
    double capturing = 0;
    double idling = 0;
};

/// None when the sound did not come.
std::optional<Load> measure() {
    Load load;
    std::optional<Pipeline> pipeline;
    const std::shared_ptr<PulseClient> client = PulseClient::shared();
    client->waitUntilKnown(std::chrono::seconds(5));
    client->route()->choose({SessionRoute::What::Output});
    AVAudioEngine engine(inputCapture()); // goes first, and with it the tap
    const std::optional<AVAudioFormat> format = engine.inputNode().outputFormat(0);
    if (!format || format->sampleRate() != 48'000 || format->channelCount() != 2)
        return std::nullopt;
    pipeline.emplace(*format);
    engine.inputNode().installTap(0, framesAsked, *format, [&pipeline](std::shared_ptr<AVAudioPCMBuffer> buffer) {
        pipeline->take(std::move(buffer));
    });
    if (!engine.start() || !pipeline->waitForChunks(settling))
        return std::nullopt;
    const Span busy;
    const bool came = pipeline->waitForChunks(settling + chunks);
    load.capturing = 100 * busy.computed() / busy.passed();
    const double length = busy.passed();
    engine.stop();
    if (!came || pipeline->bytesPushed() < chunks * framesAsked / 3 * sizeof(std::int16_t))
        return std::nullopt;
    const Span idle;
    idleFor(length);
    load.idling = 100 * idle.computed() / idle.passed();
    std::printf("%.1f s each, %zu chunks of %u frames\n", length, chunks, framesAsked);
    return load;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const parlowen::testing::PrivatePulseAudio server;
    // With the short buffer of a call.
    const parlowen::testing::PlayedTone sound(server.address(), QStringLiteral("call"), 0.5,
                                              {QStringLiteral("--latency-msec=50")});
    const std::optional<Load> load = server.isReady() ? measure() : std::nullopt;
    if (!load) {
        std::printf("MISS there is nothing to capture\n");
        return 1;
    }
    std::printf("capturing, converting, pushing: %.3f %% of one core; idle: %.3f %%\n", load->capturing, load->idling);
    return parlowen::bench::judge("capture, conversion and push beyond idle", load->capturing - load->idling,
                                  targetPercent, "% of one core")
               ? 0
               : 1;
}
