#include "PieceHost.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <iostream>
#include <utility>

namespace parlowen::recogniser {

namespace {

double secondsOf(const UtteranceTracker::Job& job) { return static_cast<double>(job.to - job.from) / sampleRate; }

std::vector<std::int16_t> audioOf(const Frame& frame) {
    std::vector<std::int16_t> samples(frame.body.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), frame.body.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

} // namespace

PieceHost::PieceHost(Transcriber& transcriberToUse, DetectorFactory makeDetector, Options options,
                     Output outputOfFrames)
    : transcriber_(transcriberToUse)
    , detectors_(std::move(makeDetector))
    , output_(std::move(outputOfFrames))
    , mostPartials_(std::max(1U, options.threads - 1))
    , load_(options.load)
    , toldCapacity_(load_.capacity(Clock::now())) {
    for (unsigned i = 0; i < options.threads; ++i)
        threads_.emplace_back([this] { work(); });
}

PieceHost::~PieceHost() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (auto& thread : threads_)
        thread.join();
}

void PieceHost::handle(const Frame& frame) {
    const std::lock_guard lock(mutex_);
    if (frame.kind == Frame::Kind::Open)
        return open(frame);
    const auto found = streams_.find(frame.stream);
    if (found == streams_.end())
        return;
    if (frame.kind == Frame::Kind::Close) {
        std::erase_if(finals_, [&frame](const Work& waiting) { return waiting.stream == frame.stream; });
        streams_.erase(found);
        return;
    }
    auto& stream = found->second;
    if (frame.kind == Frame::Kind::Audio) {
        const auto audio = audioOf(frame);
        stream.captured.insert(stream.captured.end(), audio.begin(), audio.end());
        stream.tracker->append(stream.noiseReduction.feed(audio));
        tellLoad(Clock::now()); // which changes with time as well
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
    const auto captured = std::span(stream.captured).subspan(first, reduced.size());
    auto heard = heardOf(captured, reduced, static_cast<std::size_t>(job.onset - job.from));
    heard.resize(heard.size() + silenceBehind(captured, job.kind == Job::Kind::Pause));
    return heard;
}

void PieceHost::open(const Frame& frame) {
    auto& stream = streams_[frame.stream];
    stream.capturedFrom = startOf(frame);
    stream.tracker = std::make_unique<UtteranceTracker>(stream.capturedFrom, detectors_(),
                                                        [this, id = frame.stream](const StreamEvent& event) {
                                                            output_({Frame::Kind::Event, id, encode(event)});
                                                        });
}

void PieceHost::afterAdvance(std::uint32_t id, Stream& stream) {
    auto& tracker = *stream.tracker;
    while (const auto job = tracker.nextFinalJob())
        finals_.push_back({id, *job, samplesOf(stream, *job), Clock::now()});
    const auto over = std::clamp<std::int64_t>(tracker.needed() - stream.capturedFrom, 0,
                                               static_cast<std::int64_t>(stream.captured.size()));
    stream.captured.erase(stream.captured.begin(), stream.captured.begin() + over);
    stream.capturedFrom += over;
    if (stream.toldTaken != tracker.taken() || stream.toldNeeded != tracker.needed()) {
        stream.toldTaken = tracker.taken();
        stream.toldNeeded = tracker.needed();
        output_({Frame::Kind::Taken, id, takenBody(stream.toldTaken, stream.toldNeeded)});
    }
    wake_.notify_all();
}

void PieceHost::work() {
    std::unique_lock lock(mutex_);
    while (true) {
        std::optional<Work> next;
        while (!stopping_ && !(next = nextWork()))
            wake_.wait_until(lock, nextPartialTime()); // no more audio may come until then
        if (stopping_)
            return;
        lock.unlock();
        const auto begin = Clock::now();
        auto text = textOf(*next);
        lock.lock();
        take(*next, std::move(text), Clock::now() - begin);
    }
}

/// None where the runtime fails, such as for want of memory: this piece is lost, other streams are not.
std::optional<std::string> PieceHost::textOf(Work& work) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            return work.job.isForFinal() ? std::optional(finalText(transcriber_, work.samples))
                                         : partialText(transcriber_, work.samples, work.draft);
        } catch (const std::exception& problem) {
            std::cerr << "a piece of speech could not be decoded: " << problem.what() << std::endl;
        }
    }
    return std::nullopt;
}

std::optional<PieceHost::Work> PieceHost::nextWork() {
    while (!finals_.empty()) {
        auto next = std::move(finals_.front());
        finals_.pop_front();
        if (streams_.at(next.stream).tracker->wants(next.job))
            return next;
    }
    return nextPartial();
}

std::optional<PieceHost::Work> PieceHost::nextPartial() {
    // With more than one thread, one is free for finals, or soon is.
    if (runningPartials_ >= mostPartials_)
        return std::nullopt;
    const auto now = Clock::now();
    auto candidate = streams_.upper_bound(lastPartialOf_);
    for (std::size_t i = 0; i < streams_.size(); ++i, ++candidate) {
        if (candidate == streams_.end())
            candidate = streams_.begin();
        auto& tracker = *candidate->second.tracker;
        if (const auto job = tracker.nextPartialJob(now)) {
            lastPartialOf_ = candidate->first;
            ++runningPartials_;
            const auto& stream = candidate->second;
            return Work{candidate->first, *job, samplesOf(stream, *job), now,
                        stream.draftFrom == job->from ? stream.draft : Tokens()};
        }
    }
    return std::nullopt;
}

/// An hour from now where none is to be expected.
PieceHost::Clock::time_point PieceHost::nextPartialTime() const {
    auto time = Clock::now() + std::chrono::hours(1);
    if (runningPartials_ < mostPartials_)
        for (const auto& [id, stream] : streams_)
            time = std::min(time, stream.tracker->nextPartialTime().value_or(time));
    return time;
}

void PieceHost::take(const Work& done, std::optional<std::string> text, Clock::duration took) {
    const auto now = Clock::now();
    const auto found = streams_.find(done.stream);
    const bool wanted = found != streams_.end() && found->second.tracker->wants(done.job);
    if (done.job.isForFinal())
        load_.add(secondsOf(done.job), took, wanted ? now - done.since : Clock::duration(), now);
    else
        --runningPartials_;
    tellLoad(now);
    wake_.notify_all();
    if (found == streams_.end())
        return;
    if (!done.job.isForFinal() && found->second.draftFrom <= done.job.from) {
        found->second.draftFrom = done.job.from;
        found->second.draft = done.draft;
    }
    found->second.tracker->onText(done.job, std::move(text), now, took);
    afterAdvance(done.stream, found->second);
}

void PieceHost::tellLoad(Clock::time_point now) {
    const auto capacity = load_.capacity(now, streams_.size());
    if (std::exchange(toldCapacity_, capacity) != capacity)
        output_({Frame::Kind::Load, 0, capacityBody(capacity)});
}

} // namespace parlowen::recogniser
