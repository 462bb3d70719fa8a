#include "VoiceActivity.h"

#include <algorithm>
#include <cmath>

namespace parlowen::service {

namespace {

constexpr int blockFrames = 25;       // a block of the floor's memory
constexpr std::size_t blocksKept = 8; // 2 s: within that, speech always dips down to the noise
constexpr double humFilter = 0.97;    // pole of a high pass at about 80 Hz
constexpr double fullScale = 32'768.0;
constexpr double silence = -96; // level of digital silence

} // namespace

std::vector<VoiceActivityDetector::Event> VoiceActivityDetector::feed(std::span<const std::int16_t> samples) {
    std::vector<Event> events;
    while (!samples.empty()) {
        const auto count = std::min(samples.size(), frameLength - filled);
        std::copy_n(samples.begin(), count, frame.begin() + static_cast<std::ptrdiff_t>(filled));
        filled += count;
        samples = samples.subspan(count);
        if (filled < frameLength)
            break;
        filled = 0;
        if (const auto event = takeFrame())
            events.push_back(*event);
    }
    return events;
}

std::optional<VoiceActivityDetector::Event> VoiceActivityDetector::takeFrame() {
    const double level = levelOfFrame();
    learnFloor(level);
    ++frames;
    const double above = level - floorLevel;
    if (speaking)
        return lookForEnd(above);
    recent.push_back(above > options.onsetAbove);
    if (recent.size() > static_cast<std::size_t>(options.onsetWindow))
        recent.pop_front();
    return lookForStart();
}

std::optional<VoiceActivityDetector::Event> VoiceActivityDetector::lookForStart() {
    if (std::count(recent.begin(), recent.end(), true) < options.onsetVoiced)
        return std::nullopt;
    const auto firstVoiced = std::find(recent.begin(), recent.end(), true) - recent.begin();
    const auto onset = frames - static_cast<std::int64_t>(recent.size()) + firstVoiced;
    startFrame = std::max(onset - options.leadIn, previousEnd);
    lastVoiced = frames - 1;
    speaking = true;
    quiet = 0;
    recent.clear();
    return Event{Event::Kind::Start, frameStart(startFrame), frameStart(frames)};
}

std::optional<VoiceActivityDetector::Event> VoiceActivityDetector::lookForEnd(double above) {
    if (above > options.offsetAbove) {
        lastVoiced = frames - 1;
        quiet = std::max(0, quiet - 4); // a click in the silence does not count as speech at once
    } else {
        ++quiet;
    }
    const auto length = frames - startFrame;
    const int enough = length > options.patience ? options.hangoverWhenLong : options.hangover;
    if (quiet < enough && length < options.longest)
        return std::nullopt;
    speaking = false;
    previousEnd = lastVoiced + 1;
    return Event{Event::Kind::End, frameStart(previousEnd), frameStart(frames)};
}

std::optional<VoiceActivityDetector::Event> VoiceActivityDetector::finish() {
    if (!speaking)
        return std::nullopt;
    speaking = false;
    previousEnd = lastVoiced + 1;
    return Event{Event::Kind::End, frameStart(previousEnd), frameStart(frames) + static_cast<std::int64_t>(filled)};
}

std::int64_t VoiceActivityDetector::earliestStart() const {
    return frameStart(std::max(frames - static_cast<std::int64_t>(recent.size()) - options.leadIn, previousEnd));
}

double VoiceActivityDetector::levelOfFrame() {
    double sum = 0;
    for (const auto sample : frame) {
        const double out = sample - previousIn + humFilter * previousOut;
        previousIn = sample;
        previousOut = out;
        sum += out * out;
    }
    const double power = sum / (static_cast<double>(frameLength) * fullScale * fullScale);
    return std::max(silence, 10 * std::log10(power + 1e-12));
}

void VoiceActivityDetector::learnFloor(double level) {
    smoothed = frames == 0 ? level : 0.6 * smoothed + 0.4 * level;
    if (frames % blockFrames == 0)
        minima.push_back(smoothed);
    else
        minima.back() = std::min(minima.back(), smoothed);
    if (minima.size() > blocksKept)
        minima.pop_front();
    const double lowest = *std::min_element(minima.begin(), minima.end());
    floorLevel = std::clamp(lowest, options.lowestFloor, options.highestFloor);
}

} // namespace parlowen::service
