#pragma once

#include "Decoding/Transcriber.h"
#include "DecodingLoad.h"
#include "NoiseReduction.h"
#include "StreamHost.h"
#include "UtteranceTracker.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace parlowen::recogniser {

/// Streams of a model that decodes pieces of speech as a whole. What finals wait for is decoded first, oldest first, by
/// all threads; with the time that is left each stream in turn has what is spoken so far decoded.
class PieceHost : public StreamHost {
public:
    struct Options {
        unsigned threads = 1;
        DecodingLoad load{1}; ///< what is known of it already
    };
    PieceHost(Transcriber& transcriberToUse, DetectorFactory makeDetector, Options options, Output outputOfFrames);
    ~PieceHost() override;
    PieceHost(const PieceHost&) = delete;
    PieceHost& operator=(const PieceHost&) = delete;

    void handle(const Frame& frame) override;

private:
    using Clock = UtteranceTracker::Clock;
    using Job = UtteranceTracker::Job;
    struct Work {
        std::uint32_t stream = 0;
        Job job{};
        std::vector<float> samples{};
        Clock::time_point since{};
        Tokens draft{};
    };
    struct Stream {
        NoiseReduction noiseReduction;
        std::unique_ptr<UtteranceTracker> tracker; ///< of what is left after it
        std::vector<std::int16_t> captured;        ///< before it, from `capturedFrom` on
        std::int64_t capturedFrom = 0;
        Tokens draft; ///< of the speech from `draftFrom` on
        std::int64_t draftFrom = -1;
        std::int64_t toldTaken = -1;
        std::int64_t toldNeeded = -1;
    };

    static std::vector<float> samplesOf(const Stream& stream, const Job& job);
    void open(const Frame& frame);
    void afterAdvance(std::uint32_t id, Stream& stream);
    void work();
    std::optional<std::string> textOf(Work& work);
    std::optional<Work> nextWork();
    std::optional<Work> nextPartial();
    Clock::time_point nextPartialTime() const;
    void take(const Work& done, std::optional<std::string> text, Clock::duration took);
    void tellLoad(Clock::time_point now);

    Transcriber& transcriber_;
    const DetectorFactory detectors_;
    const Output output_;
    const std::size_t mostPartials_; ///< that are decoded at a time
    std::mutex mutex_;               ///< of what follows
    std::condition_variable wake_;
    std::map<std::uint32_t, Stream> streams_;
    std::deque<Work> finals_; ///< that wait
    std::uint32_t lastPartialOf_ = 0;
    std::size_t runningPartials_ = 0;
    DecodingLoad load_;
    std::size_t toldCapacity_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

} // namespace parlowen::recogniser
