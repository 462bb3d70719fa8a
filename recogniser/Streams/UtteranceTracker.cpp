#include "UtteranceTracker.h"

#include "Decoding/QuietPlace.h"
#include "Decoding/Words.h"
#include "UtteranceWait.h"

#include <algorithm>
#include <utility>

namespace parlowen::recogniser {

namespace {

using Kind = StreamEvent::Kind;

constexpr std::int64_t windowLength = VoiceDetector::windowLength;
constexpr std::int64_t warmUp = 16 * windowLength;
constexpr std::int64_t waitAfterFragment = sampleRate; // too short to be a word: it may be the first syllable of one
constexpr std::size_t mostUndecoded = 2;
constexpr int partialShare = 3; // a partial may take one part of time in so many and one more

} // namespace

UtteranceTracker::UtteranceTracker(std::int64_t at, std::unique_ptr<VoiceDetector> voiceDetector, Sink sinkForEvents)
    : detector(std::move(voiceDetector))
    , sink(std::move(sinkForEvents))
    , audioStart(at)
    , position(at)
    , usedUpTo(at) {}

void UtteranceTracker::append(std::span<const std::int16_t> samples) {
    audio.insert(audio.end(), samples.begin(), samples.end());
}

void UtteranceTracker::advance() {
    while (!mustWait() && step()) {
    }
    if (inputEnded && end() - position < windowLength && !mustWait())
        endInput();
    tellFinals();
    dropAudio();
}

bool UtteranceTracker::mustWait() const {
    std::size_t undecoded = 0;
    for (const auto& utterance : utterances)
        undecoded += utterance.undecoded();
    if (undecoded >= mostUndecoded)
        return true;
    return state == State::Pausing && pauseJob && !pauseText &&
           position - utterances.back().speechTo >= utterance_wait::question;
}

bool UtteranceTracker::step() {
    if (end() - position < windowLength)
        return false;
    VoiceDetector::Window window{};
    const auto first = audio.begin() + (position - audioStart);
    std::transform(first, first + windowLength, window.begin(), [](auto sample) { return sample / 32'768.0F; });
    position += windowLength;
    onWindow(detector->feed(window));
    return true;
}

void UtteranceTracker::onWindow(bool voice) {
    switch (state) {
    case State::Quiet:
        if (voice)
            beginSpeech();
        break;
    case State::Speaking:
        if (voice)
            whileSpeaking();
        else
            beginPause();
        break;
    case State::Pausing:
        if (voice)
            resumeSpeech();
        else
            onPause();
        break;
    }
}

void UtteranceTracker::beginSpeech() {
    state = State::Speaking;
    startTold = false;
    const auto onset = std::max(position - VoiceDetector::onsetDelay, usedUpTo);
    utterances.push_back({onset, position, {}, false});
    beginSegment(std::max({onset - preRoll, usedUpTo, audioStart}), onset);
}

void UtteranceTracker::beginSegment(std::int64_t from, std::int64_t onset) {
    segmentFrom = from;
    segmentOnset = onset;
    words = {};
    lastPartial.clear();
    runningPartial.reset();
    nextPartialAt = from + firstPartial;
}

void UtteranceTracker::whileSpeaking() {
    auto& utterance = utterances.back();
    utterance.speechTo = position;
    if (utterance.speechTo - utterance.speechFrom >= shortestSpeech + VoiceDetector::closeDelay)
        tellStart();
    if (position - segmentFrom >= longestPiece)
        cutSpeech();
}

void UtteranceTracker::beginPause() {
    state = State::Pausing;
    auto& utterance = utterances.back();
    utterance.speechTo = std::max(position - VoiceDetector::closeDelay, utterance.speechFrom);
    pauseText.reset();
    pauseHandedOut = false;
    pauseJob = Job{Job::Kind::Pause, ++jobs, segmentFrom, std::min(utterance.speechTo + tail, position), segmentOnset};
}

void UtteranceTracker::resumeSpeech() {
    state = State::Speaking;
    pauseJob.reset();
    whileSpeaking();
}

std::int64_t UtteranceTracker::wait() const {
    if (isFragment())
        return waitAfterFragment;
    return pauseText ? waitAfter(*pauseText) : utterance_wait::unfinished;
}

/// Too short to be a word.
bool UtteranceTracker::isFragment() const {
    const auto& utterance = utterances.back();
    return !startTold && utterance.pieces.empty() && utterance.speechTo - utterance.speechFrom < shortestSpeech;
}

void UtteranceTracker::onPause() {
    if (position - utterances.back().speechTo >= wait())
        closeUtterance(pauseJob->to);
}

/// What is said without a pause goes on after the cut, in this utterance or, when it is long enough, in the next one.
void UtteranceTracker::cutSpeech() {
    const auto from = static_cast<std::size_t>(segmentFrom - audioStart);
    const auto length = static_cast<std::size_t>(position - segmentFrom);
    const auto segment = std::span<const std::int16_t>(audio).subspan(from, length);
    const auto cut =
        segmentFrom + static_cast<std::int64_t>(quietPlace(segment, length - static_cast<std::size_t>(cutWithin)));
    auto& utterance = utterances.back();
    addPiece(cut, std::nullopt);
    if (cut - utterance.speechFrom >= longestUtterance) {
        utterance.speechTo = cut;
        utterance.closed = true;
        usedUpTo = cut;
        utterances.push_back({cut, position, {}, false});
        startTold = false;
    }
    beginSegment(cut, cut);
}

void UtteranceTracker::addPiece(std::int64_t to, std::optional<std::string> text) {
    utterances.back().pieces.push_back(
        {++jobs, segmentFrom, to, segmentOnset, std::move(text), words.shown().text, false});
}

void UtteranceTracker::closeUtterance(std::int64_t pieceEnd) {
    if (isFragment()) {
        utterances.pop_back();
    } else {
        tellStart();
        addPiece(pieceEnd, std::exchange(pauseText, std::nullopt));
        utterances.back().closed = true;
    }
    usedUpTo = pieceEnd;
    state = State::Quiet;
    pauseJob.reset();
    runningPartial.reset();
}

/// The rest of the audio, less than a window, cannot hold a word of its own.
void UtteranceTracker::endInput() {
    if (state == State::Speaking)
        utterances.back().speechTo = end();
    if (state != State::Quiet)
        closeUtterance(pauseJob ? pauseJob->to : end());
    position = end();
    tellFinals();
    if (utterances.empty() && !std::exchange(told, true))
        sink({Kind::End, {}, 0, usedUpTo, usedUpTo});
}

std::optional<UtteranceTracker::Job> UtteranceTracker::nextFinalJob() {
    for (auto& utterance : utterances)
        for (auto& piece : utterance.pieces)
            if (!piece.text && !std::exchange(piece.handedOut, true))
                return Job{Job::Kind::Piece, piece.number, piece.from, piece.to, piece.onset};
    if (state == State::Pausing && pauseJob && !pauseText && !std::exchange(pauseHandedOut, true))
        return pauseJob;
    return std::nullopt;
}

std::optional<UtteranceTracker::Job> UtteranceTracker::nextPartialJob(Clock::time_point now) {
    if (const auto time = nextPartialTime(); !time || now < *time)
        return std::nullopt;
    runningPartial = Job{Job::Kind::Partial, ++jobs, segmentFrom, position, segmentOnset};
    return runningPartial;
}

std::optional<UtteranceTracker::Clock::time_point> UtteranceTracker::nextPartialTime() const {
    if (state != State::Speaking || runningPartial || position < nextPartialAt)
        return std::nullopt;
    return partialNotBefore;
}

bool UtteranceTracker::wants(const Job& job) const {
    return job.kind != Job::Kind::Pause || (pauseJob && pauseJob->number == job.number);
}

std::span<const std::int16_t> UtteranceTracker::samplesOf(const Job& job) const {
    return std::span(audio).subspan(static_cast<std::size_t>(job.from - audioStart),
                                    static_cast<std::size_t>(job.to - job.from));
}

void UtteranceTracker::onText(const Job& job, std::optional<std::string> text, Clock::time_point now,
                              Clock::duration took) {
    if (job.kind == Job::Kind::Partial) {
        partialNotBefore = now + partialShare * took;
        if (!runningPartial || runningPartial->number != job.number)
            return; // of a segment that is over
        runningPartial.reset();
        // The first sounds may not be a word yet.
        nextPartialAt = job.to + (text && !text->empty() ? partialEvery : partialEvery / 4);
        if (text && state != State::Quiet) {
            words.add(*text, job.to - job.from >= fewestToSettle);
            tellPartial();
        }
    } else if (job.kind == Job::Kind::Pause) {
        if (!wants(job))
            return; // the speech went on
        pauseText = text.value_or("");
        words.add(*pauseText, job.to - job.from >= fewestToSettle);
        tellPartial();
    } else {
        for (auto& utterance : utterances)
            for (auto& piece : utterance.pieces)
                if (piece.number == job.number)
                    piece.text = text.value_or("");
    }
    advance();
}

std::string UtteranceTracker::textOf(const Utterance& utterance) const {
    std::string text;
    for (const auto& piece : utterance.pieces)
        text = joinedAtCut(text, piece.text ? *piece.text : piece.guess);
    return text;
}

void UtteranceTracker::tellStart() {
    const auto& utterance = utterances.back();
    if (!std::exchange(startTold, true))
        sink({Kind::Start, {}, 0, utterance.speechFrom, utterance.speechTo});
}

void UtteranceTracker::tellPartial() {
    const auto& utterance = utterances.back();
    const auto before = textOf(utterance);
    const auto& shown = words.shown();
    auto text = joinedAtCut(before, shown.text);
    if (text.empty() || text == lastPartial || (state == State::Pausing && isFragment()))
        return;
    tellStart();
    const auto unsettled = shown.text.size() - shown.settled;
    sink({Kind::Partial, text, text.size() - std::min(unsettled, text.size()), utterance.speechFrom,
          utterance.speechTo});
    lastPartial = std::move(text);
}

void UtteranceTracker::tellFinals() {
    while (!utterances.empty() && utterances.front().closed) {
        const auto& utterance = utterances.front();
        if (utterance.undecoded() > 0)
            return;
        sink({Kind::Final, textOf(utterance), 0, utterance.speechFrom, utterance.speechTo});
        utterances.pop_front();
    }
}

std::int64_t UtteranceTracker::needed() const {
    auto from = position - VoiceDetector::onsetDelay - preRoll;
    if (!utterances.empty()) {
        const auto& first = utterances.front();
        from = first.pieces.empty() ? segmentFrom : first.pieces.front().from;
    }
    // A detector that starts anew hears the same when it has some time before, and windows of the same samples.
    const auto begin = from - warmUp - from % windowLength;
    return utterances.empty() ? std::max(begin, usedUpTo) : begin > usedUpTo ? begin : from;
}

void UtteranceTracker::dropAudio() {
    const auto count = std::clamp<std::int64_t>(needed() - audioStart, 0, static_cast<std::int64_t>(audio.size()));
    audio.erase(audio.begin(), audio.begin() + count);
    audioStart += count;
}

} // namespace parlowen::recogniser
