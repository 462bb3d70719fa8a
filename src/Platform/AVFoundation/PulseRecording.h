#pragma once

#include "CaptureConnection.h"
#include "CaptureTimeline.h"
#include "InputReport.h"

#include <PulseAudio/SecondLook.h>

namespace parlowen {

/// Records the audio server's default source for as long as it lives, whatever becomes of it: when the default source
/// changes or goes, or the server ends and comes back, it goes on with the source that is the default then, in the
/// format that it began with. What is missed is silence, and the console log says so. No sink call comes once it is
/// gone.
class PulseRecording {
public:
    /// `source` gives the format, its samples being 32-bit floats, and is recorded first. The connection must outlive
    /// the recording.
    PulseRecording(CaptureConnection& connection, PulseSource source, std::uint32_t framesPerBuffer,
                   CaptureSource::Sink sink, InputObserver observer);
    ~PulseRecording();
    PulseRecording(const PulseRecording&) = delete;
    PulseRecording& operator=(const PulseRecording&) = delete;

    static AVAudioFormat formatOf(const pa_sample_spec& spec);

    /// Returns an error text, or none once sound is to come.
    std::optional<QString> begin();

private:
    struct Unref {
        void operator()(pa_stream* stream) const {
            pa_stream_set_read_callback(stream, nullptr, nullptr);
            pa_stream_set_state_callback(stream, nullptr, nullptr);
            pa_stream_disconnect(stream);
            pa_stream_unref(stream);
        }
    };

    static void onReadable(pa_stream* stream, std::size_t bytes, void* data);
    static void onStreamState(pa_stream* stream, void* data);
    static void onServerEvent(pa_context* context, pa_subscription_event_type_t event, std::uint32_t index, void* data);
    static void onDefaultSource(pa_context* context, const pa_source_info* info, int last, void* data);
    static void onSecondLook(pa_context* context, const pa_source_info* info, int last, void* data);
    static void onTick(pa_mainloop_api* api, pa_time_event* event, const timeval* time, void* data);

    bool isStreamGood() const { return stream_ && PA_STREAM_IS_GOOD(pa_stream_get_state(stream_.get())); }
    bool openStream();
    void closeStream();
    void readAll();
    void restWhileBufferFills(std::size_t piece, bool waitedFor);

    void keepFollowing();
    void followIfUp();
    void subscribe();
    void askForDefault();
    void follow();
    bool hasMissed(const pa_source_info& now) const;
    void takeOver();
    void reconnect();
    void reconnectAfter(pa_usec_t pause);
    bool dropDeadStream();
    void repairStream();
    bool hasWaitedFor(pa_usec_t time) const;
    void tickAfter(pa_usec_t time);
    static CaptureTimeline::Time clock();

    static constexpr pa_usec_t tickLength = 100 * PA_USEC_PER_MSEC;

    CaptureConnection& connection_;
    PulseSource source_; ///< the one that is recorded, or was last; its spec and map stay those of the first
    const std::uint32_t framesPerBuffer_;
    InputReport report_;
    CaptureTimeline timeline_;

    // Under the connection's lock:
    std::unique_ptr<pa_stream, Unref> stream_;
    PulseOperation subscription_;
    PulseOperation question_; ///< which source is the default
    std::optional<PulseSource> answer_;
    bool outdated_ = false;      ///< something changed since the question was asked
    bool recording_ = false;     ///< the stream has been ready
    bool serverIsLost_ = false;  ///< and the log says so
    pa_usec_t waitingSince_ = 0; ///< for whatever comes next while nothing is recorded
    CaptureLoop::Clock::time_point lastRead_;
    CaptureLoop::Clock::time_point expected_; ///< the piece that makes the next buffer full
    bool rested_ = false;                     ///< since the last read
    pa_time_event* ticker_ = nullptr;
    SecondLook secondLook_;
};

} // namespace parlowen
