#include "ProbabilityDetector.h"

#include <algorithm>
#include <cmath>
#include <speex/speex_preprocess.h>

namespace parlowen::service {

namespace {

// In percent. On the clean sample interview each of the six passages is found as one, its beginning to 0.2 s, its end
// to 0.3 s; in white noise of up to -30 dBFS they are six, too, but the first begins with the noise.
constexpr int begins = 80;
constexpr int goesOn = 60;
constexpr int windowsToBegin = 3; // of 32 ms; the probability itself takes 0.25 s to fall

} // namespace

ProbabilityDetector::ProbabilityDetector()
    : state_(speex_preprocess_state_init(windowLength, recogniser::sampleRate), speex_preprocess_state_destroy) {}

bool ProbabilityDetector::feed(const Window& window) {
    std::array<spx_int16_t, windowLength> samples{};
    std::transform(window.begin(), window.end(), samples.begin(), [](float sample) {
        return static_cast<spx_int16_t>(std::lround(std::clamp(sample * 32'768.0F, -32'768.0F, 32'767.0F)));
    });
    speex_preprocess_run(state_.get(), samples.data());
    int percent = 0;
    speex_preprocess_ctl(state_.get(), SPEEX_PREPROCESS_GET_PROB, &percent);
    likelyInARow_ = percent >= begins ? likelyInARow_ + 1 : 0;
    voice_ = voice_ ? percent >= goesOn : likelyInARow_ >= windowsToBegin;
    return voice_;
}

} // namespace parlowen::service
