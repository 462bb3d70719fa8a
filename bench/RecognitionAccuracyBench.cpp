// Word error rates of the service's recogniser, beside those of the bare library on the whole recording in one piece.
#include "Measure.h"

#include "Decoding/Transcriber.h"
#include "Speech/RecogniserEngine.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <random>
#include <span>

#include "support/RecognitionAudio.h"
#include "support/WordErrorRate.h"

namespace {

using namespace parlowen;
using namespace parlowen::bench;
using namespace parlowen::testing;

constexpr double mostWorse = 1; // points

/// With white noise so many decibels below the speech (the frames of 20 ms within 30 dB of the loudest).
Recording withNoise(Recording recording, int decibels) {
    constexpr std::size_t frame = 320;
    std::vector<double> powers;
    for (std::size_t at = 0; at + frame <= recording.samples.size(); at += frame) {
        double sum = 0;
        for (const auto sample : std::span(recording.samples).subspan(at, frame))
            sum += double{1} * sample * sample;
        powers.push_back(sum / frame);
    }
    const double loudest = *std::max_element(powers.begin(), powers.end());
    std::erase_if(powers, [loudest](double power) { return power < loudest / 1'000; });
    double sum = 0;
    for (const double power : powers)
        sum += power;
    const double deviation = std::sqrt(sum / static_cast<double>(powers.size()) / std::pow(10, decibels / 10.0));
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same noise every time
    std::normal_distribution<double> noise(0, deviation);
    for (auto& sample : recording.samples)
        sample = static_cast<std::int16_t>(std::clamp(sample + noise(random), -32'768.0, 32'767.0));
    recording.name += ", noise at " + std::to_string(decibels) + " dB";
    return recording;
}

std::string heardByService(service::RecogniserEngine& engine, const Samples& samples) {
    std::mutex mutex;
    std::condition_variable changed;
    std::string text;
    bool ended = false;
    const auto stream = engine.open("en-US", [&](const service::RecognitionEvent& event) {
        using Kind = service::RecognitionEvent::Kind;
        const std::lock_guard lock(mutex);
        if (event.kind == Kind::Final)
            text += event.text + " ";
        ended = ended || event.kind == Kind::SpeechEnd || event.kind == Kind::Failed;
        changed.notify_all();
    });
    stream->accept(samples);
    stream->finish();
    std::unique_lock lock(mutex);
    changed.wait(lock, [&ended] { return ended; });
    return text;
}

std::string heardByLibrary(recogniser::Transcriber& transcriber, const Samples& samples) {
    std::vector<float> floats(samples.size());
    std::transform(samples.begin(), samples.end(), floats.begin(),
                   [](int sample) { return static_cast<float>(sample) / 32'768; });
    return transcriber.transcribe(floats).text;
}

} // namespace

int main() {
    const std::filesystem::path source = PARLOWEN_SOURCE_DIR;
    const auto places = service::ModelRegistry::Places::ofThisProgram("/nowhere");
    const auto model = recogniser::ModelFolder::at(places.installed / "moonshine-base-en");
    if (places.program.empty() || !model)
        return std::puts("there is no recogniser here (./dev setup)"), 1;
    const auto bare =
        recogniser::loadTranscriber(recogniser::SherpaLibrary::load(places.installed.parent_path()), *model);
    service::RecogniserEngine engine(places);
    struct Case {
        Recording recording;
        double target; ///< percent
    };
    const auto sample = sampleInterview(source);
    const auto reading = sampleReading(source);
    const std::vector<Case> cases{{sample, 2},  {withNoise(sample, 20), 7},  {withNoise(sample, 10), 25},
                                  {reading, 5}, {withNoise(reading, 20), 7}, {withNoise(reading, 10), 25}};
    bool met = true;
    for (const auto& [recording, target] : cases) {
        const double rate = 100 * wordErrorRate(recording.words, heardByService(engine, recording.samples));
        const double base = 100 * wordErrorRate(recording.words, heardByLibrary(*bare, recording.samples));
        met &= judge(("word error rate, " + recording.name).c_str(), rate, target, "%");
        met &= judge(("  above the bare library's " + std::to_string(base) + " %").c_str(), rate - base, mostWorse,
                     "points");
    }
    return met ? 0 : 1;
}
