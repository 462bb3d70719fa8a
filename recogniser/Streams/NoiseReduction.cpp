#include "NoiseReduction.h"

#include "Decoding/SpeechToNoise.h"
#include "Protocol/Frames.h"

#include <algorithm>
#include <cmath>
#include <speex/speex_preprocess.h>

namespace parlowen::recogniser {

namespace {

constexpr int mostReduction = -12; // dB; of 6, 12, 15 and 20 the one with the fewest word errors in noise 10 dB below

constexpr double littleNoise = 16; // dB below the speech; a piece with less is heard as it was captured
constexpr double muchNoise = 12;   // one with more is heard with it reduced
constexpr double quietRoom = 26;   // one with less is followed by silence
constexpr std::size_t leadInQuiet = sampleRate * 22 / 100;

} // namespace

NoiseReduction::NoiseReduction()
    : state_(speex_preprocess_state_init(frame, sampleRate), speex_preprocess_state_destroy) {
    int on = 1;
    speex_preprocess_ctl(state_.get(), SPEEX_PREPROCESS_SET_DENOISE, &on);
    int reduction = mostReduction;
    speex_preprocess_ctl(state_.get(), SPEEX_PREPROCESS_SET_NOISE_SUPPRESS, &reduction);
}

std::vector<std::int16_t> NoiseReduction::feed(std::span<const std::int16_t> samples) {
    waiting_.insert(waiting_.end(), samples.begin(), samples.end());
    const auto whole = waiting_.size() - waiting_.size() % frame;
    for (std::size_t at = 0; at < whole; at += frame)
        speex_preprocess_run(state_.get(), &waiting_[at]);
    // What comes out is a frame behind what goes in.
    const auto first = whole > 0 && !begun_ ? frame : 0;
    begun_ = begun_ || whole > 0;
    const auto end = waiting_.begin() + static_cast<std::ptrdiff_t>(whole);
    std::vector<std::int16_t> done(waiting_.begin() + static_cast<std::ptrdiff_t>(first), end);
    waiting_.erase(waiting_.begin(), end);
    return done;
}

std::vector<std::int16_t> NoiseReduction::finish() {
    const auto missing = waiting_.size() + (begun_ ? frame : 0);
    auto rest = feed(std::vector<std::int16_t>(2 * frame));
    rest.resize(missing);
    return rest;
}

std::vector<float> heardOf(std::span<const std::int16_t> captured, std::span<const std::int16_t> reduced,
                           std::size_t onset) {
    const auto share =
        static_cast<float>(std::clamp((littleNoise - speechToNoise(captured)) / (littleNoise - muchNoise), 0.0, 1.0));
    const auto spare = static_cast<float>(onset - std::min(onset, leadInQuiet));
    const auto first = static_cast<std::ptrdiff_t>((1 - share) * spare);
    std::vector<float> heard(captured.size() - static_cast<std::size_t>(first));
    std::transform(captured.begin() + first, captured.end(), reduced.begin() + first, heard.begin(),
                   [share](auto as, auto less) {
                       return ((1 - share) * static_cast<float>(as) + share * static_cast<float>(less)) / 32'768.0F;
                   });
    return heard;
}

std::size_t silenceBehind(std::span<const std::int16_t> captured, bool finished) {
    if (speechToNoise(captured) < quietRoom)
        return 0;
    return finished ? sampleRate * 2 / 10 : sampleRate / 10;
}

} // namespace parlowen::recogniser
