#include "PieceHost.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace parlowen::recogniser {

namespace {

std::vector<std::int16_t> audioOf(const Frame& frame) {
    std::vector<std::int16_t> samples(frame.body.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), frame.body.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

} // namespace

PieceHost::PieceHost(Transcriber& transcriberToUse, DetectorFactory makeDetector, Options options,
                     Output outputOfFrames)
    : transcriber(transcriberToUse)
    , detectors(std::move(makeDetector))
    , output(std::move(outputOfFrames))
    , mostPartials(std::max(1U, options.threads - 1))
    , load(options.load)
    , toldCapacity(load.capacity(Clock::now())) {
    for (unsigned i = 0; i < options.threads; ++i)
        threads.emplace_back([this] { work(); });
}

PieceHost::~PieceHost() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    for (auto& thread : threads)
        thread.join();
}

void PieceHost::handle(const Frame& frame) {
    const std::lock_guard lock(mutex);
    if (frame.kind == Frame::Kind::Open)
        return open(frame);
    const auto found = streams.find(frame.stream);
    if (found == streams.end())
        return;
    if (frame.kind == Frame::Kind::Close) {
        std::erase_if(finals, [&frame](const Work& waiting) { return waiting.stream == frame.stream; });
        streams.erase(found);
        return;
    }
    auto& stream = found->second;
    if (frame.kind == Frame::Kind::Audio) {
        const auto audio = audioOf(frame);
        stream.captured.insert(stream.captured.end(), audio.begin(), audio.end());
        stream.tracker->append(stream.noiseReduction.feed(audio));
    } else if (frame.kind == Frame::Kind::Finish) {
        stream.tracker->append(stream.noiseReduction.finish());
        stream.tracker->finish();
    }
    stream.tracker->advance();
    afterAdvance(frame.stream, stream);
}

std::vector<float> PieceHost::samplesOf(const Stream& stream, const Job& job) {
    const auto reduced = stream.tracker->samplesOf(job);
    const auto first = static_cast<std::size_t>(job.from - stream.capturedFrom);
    return heardOf(std::span(stream.captured).subspan(first, reduced.size()), reduced,
                   static_cast<std::size_t>(job.onset - job.from));
}

void PieceHost::open(const Frame& frame) {
    auto& stream = streams[frame.stream];
    stream.capturedFrom = startOf(frame);
    stream.tracker = std::make_unique<UtteranceTracker>(stream.capturedFrom, detectors(),
                                                        [this, id = frame.stream](const StreamEvent& event) {
                                                            output({Frame::Kind::Event, id, encode(event)});
                                                        });
}

void PieceHost::afterAdvance(std::uint32_t id, Stream& stream) {
    auto& tracker = *stream.tracker;
    while (const auto job = tracker.nextFinalJob())
        finals.push_back({id, *job, samplesOf(stream, *job), Clock::now()});
    const auto over = std::clamp<std::int64_t>(tracker.needed() - stream.capturedFrom, 0,
                                               static_cast<std::int64_t>(stream.captured.size()));
    stream.captured.erase(stream.captured.begin(), stream.captured.begin() + over);
    stream.capturedFrom += over;
    if (stream.toldTaken != tracker.taken() || stream.toldNeeded != tracker.needed()) {
        stream.toldTaken = tracker.taken();
        stream.toldNeeded = tracker.needed();
        output({Frame::Kind::Taken, id, takenBody(stream.toldTaken, stream.toldNeeded)});
    }
    wake.notify_all();
}

void PieceHost::work() {
    std::unique_lock lock(mutex);
    while (true) {
        std::optional<Work> next;
        while (!stopping && !(next = nextWork()))
            wake.wait_until(lock, nextPartialTime()); // no more audio may come until then
        if (stopping)
            return;
        lock.unlock();
        const auto begin = Clock::now();
        auto text = next->job.isForFinal() ? std::optional(finalText(transcriber, next->samples))
                                           : partialText(transcriber, next->samples);
        lock.lock();
        take(*next, std::move(text), Clock::now() - begin);
    }
}

std::optional<PieceHost::Work> PieceHost::nextWork() {
    while (!finals.empty()) {
        auto next = std::move(finals.front());
        finals.pop_front();
        if (streams.at(next.stream).tracker->wants(next.job))
            return next;
    }
    return nextPartial();
}

std::optional<PieceHost::Work> PieceHost::nextPartial() {
    // With more than one thread, one is free for finals, or soon is.
    if (runningPartials >= mostPartials)
        return std::nullopt;
    const auto now = Clock::now();
    auto candidate = streams.upper_bound(lastPartialOf);
    for (std::size_t i = 0; i < streams.size(); ++i, ++candidate) {
        if (candidate == streams.end())
            candidate = streams.begin();
        auto& tracker = *candidate->second.tracker;
        if (const auto job = tracker.nextPartialJob(now)) {
            lastPartialOf = candidate->first;
            ++runningPartials;
            return Work{candidate->first, *job, samplesOf(candidate->second, *job), now};
        }
    }
    return std::nullopt;
}

/// An hour from now where none is to be expected.
PieceHost::Clock::time_point PieceHost::nextPartialTime() const {
    auto time = Clock::now() + std::chrono::hours(1);
    if (runningPartials < mostPartials)
        for (const auto& [id, stream] : streams)
            time = std::min(time, stream.tracker->nextPartialTime().value_or(time));
    return time;
}

void PieceHost::take(const Work& done, std::optional<std::string> text, Clock::duration took) {
    const auto now = Clock::now();
    if (done.job.isForFinal())
        load.add(static_cast<double>(done.samples.size()) / sampleRate, took, now - done.since, now);
    else
        --runningPartials;
    tellLoad(now);
    wake.notify_all();
    const auto found = streams.find(done.stream);
    if (found == streams.end())
        return;
    found->second.tracker->onText(done.job, std::move(text), now, took);
    afterAdvance(done.stream, found->second);
}

void PieceHost::tellLoad(Clock::time_point now) {
    const auto capacity = load.capacity(now, streams.size());
    if (std::exchange(toldCapacity, capacity) != capacity)
        output({Frame::Kind::Load, 0, capacityBody(capacity)});
}

} // namespace parlowen::recogniser
