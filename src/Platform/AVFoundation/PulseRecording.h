#pragma once

#include "CaptureSource.h"
#include "CaptureTimeline.h"
#include "InputReport.h"
#include "OutputScout.h"

#include <PulseAudio/PulseClient.h>
#include <memory>
#include <optional>
#include <string>

namespace parlowen {

/// Records what the program's sessions are to hear, for as long as it lives, whatever becomes of it: when the output
/// that is heard changes or goes, when the microphone does, when the server ends and comes back, it goes on with what
/// is to be heard then, in the shape that it began with. What is missed is silence at first, and is told.
///
/// While nobody has chosen an output, the server's default one is heard; where that has been silent for five seconds
/// and another one sounds, that one is, until the default one sounds again.
///
/// No sink call comes once it is gone. Not destroyed on the client's thread.
class PulseRecording {
public:
    PulseRecording(std::shared_ptr<PulseClient> client, const InputShape& shape, std::uint32_t framesPerBuffer,
                   CaptureSource::Sink sink, InputObserver observer);
    ~PulseRecording();
    PulseRecording(const PulseRecording&) = delete;
    PulseRecording& operator=(const PulseRecording&) = delete;

private:
    using Clock = PulseEventLoop::Clock;
    using Time = CaptureTimeline::Time;

    void settle();
    void useServer(const PulseClient::State& server);
    void takeChoice();
    void open(const InputTarget& target);
    void close();
    void streamChanged();
    void reportListening();
    void streamFailed();
    bool isLateToOpen() const;
    void retry();
    PulseInputStream::Hooks hooks();

    void tellGap(const std::optional<CaptureTimeline::Gap>& gap) const;
    void readAll();
    void restWhileBufferFills(std::size_t piece, bool waitedFor);

    void tick();
    void lookForStall(Time now);
    void serverAnswered();
    void lookElsewhere(const PulseSnapshot& server, Time now);
    bool hearsOutput() const { return choice_.what == SessionRoute::What::Output; }
    void turnTo(const std::string& output);
    static Time clock();

    const std::shared_ptr<PulseClient> client_;
    const InputShape shape_;
    const std::uint32_t framesPerBuffer_;
    InputReport report_;
    CaptureTimeline timeline_;

    // Under the client's lock:
    std::unique_ptr<PulseInputStream> stream_;
    bool wasReady_ = false; ///< the stream has been
    bool isPaused_ = false; ///< the one program that is heard does not play
    Time openingSince_{0};
    SessionRoute::Choice choice_;
    OutputScout scout_;
    std::string instead_;       ///< an output that is heard in place of the default one
    std::string defaultOutput_; ///< as it was when that was turned to
    std::uint64_t connection_ = 0;
    Time lastData_{0}; ///< when something was read last, or the stream became ready
    Time lastTick_ = clock();
    bool stalled_ = false;
    PulseOperation ping_;
    Clock::time_point lastRead_;
    Clock::time_point expected_; ///< the piece that makes the next buffer full
    bool rested_ = false;        ///< since the last read
    PulseTimer ticker_;
    PulseTimer retry_;
    std::shared_ptr<void> serverWatch_, routeWatch_;
};

} // namespace parlowen
