#include "NoiseReduction.h"

#include "Protocol/Frames.h"

#include <speex/speex_preprocess.h>

namespace parlowen::recogniser {

namespace {

// More leaves out words of speech without noise; less, words of speech with noise 10 dB below it.
constexpr int mostReduction = -6; // dB

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

} // namespace parlowen::recogniser
