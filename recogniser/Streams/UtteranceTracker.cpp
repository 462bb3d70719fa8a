#include "UtteranceTracker.h"

#include "Decoding/QuietPlace.h"
#include "Decoding/SpeechToNoise.h"
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
constexpr double clearly = 24;  // dB, of speech with its noise reduced
constexpr int partialShare = 3; // a partial may take one part of time in so many and one more

} // namespace

UtteranceTracker::UtteranceTracker(std::int64_t at, std::unique_ptr<VoiceDetector> voiceDetector, Sink sinkForEvents)
    : detector_(std::move(voiceDetector))
    , sink_(std::move(sinkForEvents))
    , audioStart_(at)
    , position_(at)
    , usedUpTo_(at) {}

void UtteranceTracker::append(std::span<const std::int16_t> samples) {
    audio_.insert(audio_.end(), samples.begin(), samples.end());
}

void UtteranceTracker::advance() {
    while (!mustWait() && step()) {
    }
    if (inputEnded_ && end() - position_ < windowLength && !mustWait())
        endInput();
    tellFinals();
    dropAudio();
}

bool UtteranceTracker::mustWait() const {
    std::size_t undecoded = 0;
    for (const auto& utterance : utterances_)
        undecoded += utterance.undecoded();
    if (undecoded >= mostUndecoded)
        return true;
    return state_ == State::Pausing && pauseJob_ && !pauseText_ &&
           position_ - utterances_.back().speechTo >= utterance_wait::question;
}

bool UtteranceTracker::step() {
    if (end() - position_ < windowLength)
        return false;
    VoiceDetector::Window window{};
    const auto first = audio_.begin() + (position_ - audioStart_);
    std::transform(first, first + windowLength, window.begin(), [](auto sample) { return sample / 32'768.0F; });
    position_ += windowLength;
    onWindow(detector_->feed(window));
    return true;
}

void UtteranceTracker::onWindow(bool voice) {
    switch (state_) {
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
    state_ = State::Speaking;
    startTold_ = false;
    partialNotBefore_ = {}; // what the utterance before took is no reason to wait for the first word
    const auto onset = std::max(position_ - VoiceDetector::onsetDelay, usedUpTo_);
    utterances_.push_back({onset, position_, {}, false});
    beginSegment(std::max({onset - preRoll, usedUpTo_, audioStart_}), onset);
}

void UtteranceTracker::beginSegment(std::int64_t from, std::int64_t onset) {
    segmentFrom_ = from;
    segmentOnset_ = onset;
    words_ = {};
    lastPartial_.clear();
    runningPartial_.reset();
    forgetPause();
    nextPartialAt_ = from + firstPartial;
}

void UtteranceTracker::whileSpeaking() {
    auto& utterance = utterances_.back();
    utterance.speechTo = position_;
    if (utterance.speechTo - utterance.speechFrom >= shortestSpeech + VoiceDetector::closeDelay)
        tellStart();
    const bool mayPause = detector_->quiet() >= decodedPause;
    if (position_ - segmentFrom_ >= longestPiece && !mayPause)
        cutSpeech();
    if (!mayPause)
        forgetPause();
    else if (!pauseJob_ && startTold_ && isClear()) // a fragment may be no word at all
        decodePause(position_);
}

/// In noise a word may still end where nobody seems to speak.
bool UtteranceTracker::isClear() const {
    const auto segment = std::span(audio_).subspan(static_cast<std::size_t>(segmentFrom_ - audioStart_),
                                                   static_cast<std::size_t>(position_ - segmentFrom_));
    return speechToNoise(segment) > clearly;
}

void UtteranceTracker::decodePause(std::int64_t to) {
    pauseJob_ = Job{Job::Kind::Pause, ++jobs_, segmentFrom_, to, segmentOnset_};
    pauseHandedOut_ = false;
}

void UtteranceTracker::forgetPause() {
    pauseJob_.reset();
    pauseText_.reset();
}

void UtteranceTracker::beginPause() {
    state_ = State::Pausing;
    auto& utterance = utterances_.back();
    utterance.speechTo = std::max(position_ - VoiceDetector::closeDelay, utterance.speechFrom);
    if (!pauseJob_)
        decodePause(std::min(utterance.speechTo + tail, position_));
}

void UtteranceTracker::resumeSpeech() {
    state_ = State::Speaking;
    whileSpeaking();
}

std::int64_t UtteranceTracker::wait() const {
    if (isFragment())
        return waitAfterFragment;
    return pauseText_ ? waitAfter(*pauseText_) : utterance_wait::unfinished;
}

/// Too short to be a word.
bool UtteranceTracker::isFragment() const {
    const auto& utterance = utterances_.back();
    return !startTold_ && utterance.pieces.empty() && utterance.speechTo - utterance.speechFrom < shortestSpeech;
}

void UtteranceTracker::onPause() {
    if (position_ - utterances_.back().speechTo >= wait())
        closeUtterance(pauseJob_->to);
}

/// What is said without a pause goes on after the cut, in this utterance or, when it is long enough, in the next one.
void UtteranceTracker::cutSpeech() {
    const auto from = static_cast<std::size_t>(segmentFrom_ - audioStart_);
    const auto length = static_cast<std::size_t>(position_ - segmentFrom_);
    const auto segment = std::span<const std::int16_t>(audio_).subspan(from, length);
    const auto cut =
        segmentFrom_ + static_cast<std::int64_t>(quietPlace(segment, length - static_cast<std::size_t>(cutWithin)));
    auto& utterance = utterances_.back();
    addPiece(cut, std::nullopt);
    if (cut - utterance.speechFrom >= longestUtterance) {
        utterance.speechTo = cut;
        utterance.closed = true;
        usedUpTo_ = cut;
        utterances_.push_back({cut, position_, {}, false});
        startTold_ = false;
    }
    beginSegment(cut, cut);
}

void UtteranceTracker::addPiece(std::int64_t to, std::optional<std::string> text) {
    utterances_.back().pieces.push_back(
        {++jobs_, segmentFrom_, to, segmentOnset_, std::move(text), words_.shown().text, false});
}

void UtteranceTracker::closeUtterance(std::int64_t pieceEnd) {
    if (isFragment()) {
        utterances_.pop_back();
    } else {
        tellStart();
        addPiece(pieceEnd, std::exchange(pauseText_, std::nullopt));
        utterances_.back().closed = true;
    }
    usedUpTo_ = pieceEnd;
    state_ = State::Quiet;
    forgetPause();
    runningPartial_.reset();
}

/// The rest of the audio, less than a window, cannot hold a word of its own.
void UtteranceTracker::endInput() {
    if (state_ == State::Speaking) {
        utterances_.back().speechTo = end();
        forgetPause();
    }
    if (state_ != State::Quiet)
        closeUtterance(pauseJob_ ? pauseJob_->to : end());
    position_ = end();
    tellFinals();
    if (utterances_.empty() && !std::exchange(told_, true))
        sink_({Kind::End, {}, 0, usedUpTo_, usedUpTo_});
}

std::optional<UtteranceTracker::Job> UtteranceTracker::nextFinalJob() {
    for (auto& utterance : utterances_)
        for (auto& piece : utterance.pieces)
            if (!piece.text && !std::exchange(piece.handedOut, true))
                return Job{Job::Kind::Piece, piece.number, piece.from, piece.to, piece.onset};
    if (pauseJob_ && !pauseText_ && !std::exchange(pauseHandedOut_, true))
        return pauseJob_;
    return std::nullopt;
}

std::optional<UtteranceTracker::Job> UtteranceTracker::nextPartialJob(Clock::time_point now) {
    if (const auto time = nextPartialTime(); !time || now < *time)
        return std::nullopt;
    runningPartial_ = Job{Job::Kind::Partial, ++jobs_, segmentFrom_, position_, segmentOnset_};
    return runningPartial_;
}

std::optional<UtteranceTracker::Clock::time_point> UtteranceTracker::nextPartialTime() const {
    if (state_ != State::Speaking || pauseJob_ || runningPartial_ || position_ < nextPartialAt_)
        return std::nullopt;
    return partialNotBefore_;
}

bool UtteranceTracker::wants(const Job& job) const {
    return job.kind != Job::Kind::Pause || (pauseJob_ && pauseJob_->number == job.number);
}

std::span<const std::int16_t> UtteranceTracker::samplesOf(const Job& job) const {
    return std::span(audio_).subspan(static_cast<std::size_t>(job.from - audioStart_),
                                     static_cast<std::size_t>(job.to - job.from));
}

void UtteranceTracker::onText(const Job& job, std::optional<std::string> text, Clock::time_point now,
                              Clock::duration took) {
    if (job.kind == Job::Kind::Partial) {
        const bool heard = text && !text->empty();
        const bool early = !heard && job.to - job.from < sampleRate;
        partialNotBefore_ = now + (early ? 1 : partialShare) * took;
        if (!runningPartial_ || runningPartial_->number != job.number)
            return; // of a segment that is over
        runningPartial_.reset();
        // The first sounds may not be a word yet.
        nextPartialAt_ = job.to + (heard ? partialEvery : partialAfterNothing);
        if (text && state_ != State::Quiet) {
            words_.add(*text, job.to - job.from >= fewestToSettle);
            tellPartial();
        }
    } else if (job.kind == Job::Kind::Pause) {
        if (state_ == State::Quiet || job.from != segmentFrom_)
            return;
        if (wants(job))
            pauseText_ = text.value_or("");
        else
            partialNotBefore_ = now + partialShare * took;
        // As good as any partial one where the speech went on.
        nextPartialAt_ = std::max(nextPartialAt_, job.to + partialEvery);
        words_.add(text.value_or(""), job.to - job.from >= fewestToSettle);
        tellPartial();
    } else {
        for (auto& utterance : utterances_)
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
    const auto& utterance = utterances_.back();
    if (!std::exchange(startTold_, true))
        sink_({Kind::Start, {}, 0, utterance.speechFrom, utterance.speechTo});
}

void UtteranceTracker::tellPartial() {
    const auto& utterance = utterances_.back();
    const auto before = textOf(utterance);
    const auto& shown = words_.shown();
    auto text = joinedAtCut(before, shown.text);
    if (text.empty() || text == lastPartial_ || (state_ == State::Pausing && isFragment()))
        return;
    tellStart();
    const auto unsettled = shown.text.size() - shown.settled;
    sink_({Kind::Partial, text, text.size() - std::min(unsettled, text.size()), utterance.speechFrom,
           utterance.speechTo});
    lastPartial_ = std::move(text);
}

void UtteranceTracker::tellFinals() {
    while (!utterances_.empty() && utterances_.front().closed) {
        const auto& utterance = utterances_.front();
        if (utterance.undecoded() > 0)
            return;
        sink_({Kind::Final, textOf(utterance), 0, utterance.speechFrom, utterance.speechTo});
        utterances_.pop_front();
    }
}

std::int64_t UtteranceTracker::needed() const {
    auto from = position_ - VoiceDetector::onsetDelay - preRoll;
    if (!utterances_.empty()) {
        const auto& first = utterances_.front();
        from = first.pieces.empty() ? segmentFrom_ : first.pieces.front().from;
    }
    // A detector that starts anew hears the same when it has some time before, and windows of the same samples.
    const auto begin = from - warmUp - from % windowLength;
    return utterances_.empty() ? std::max(begin, usedUpTo_) : begin > usedUpTo_ ? begin : from;
}

void UtteranceTracker::dropAudio() {
    const auto count = std::clamp<std::int64_t>(needed() - audioStart_, 0, static_cast<std::int64_t>(audio_.size()));
    audio_.erase(audio_.begin(), audio_.begin() + count);
    audioStart_ += count;
}

} // namespace parlowen::recogniser
