// Word error rates of the service's recogniser, beside those of the bare library on the whole recording in one piece.
// With sound files as arguments: what either hears of them as they are captured, as JSON, a line a file.
#include "Measure.h"

#include "AVFoundation/AVAudioConverter.h"
#include "AVFoundation/FileCapture.h"
#include "Decoding/Transcriber.h"
#include "Speech/RecogniserEngine.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <future>
#include <mutex>
#include <nlohmann/json.hpp>
#include <random>
#include <span>

#include "support/RecognitionAudio.h"
#include "support/WordErrorRate.h"

namespace {

using namespace parlowen;
using namespace parlowen::bench;
using namespace parlowen::testing;

constexpr double mostWorse = 1; // points
constexpr int noises = 8;       // a single one is chance: the sample at 10 dB gives from 6 to 28 %

/// With white noise so many decibels below the speech (the frames of 20 ms within 30 dB of the loudest).
Recording withNoise(Recording recording, int decibels, int seed) {
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
    std::mt19937 random(static_cast<unsigned>(seed)); // the same noises every time
    std::normal_distribution<double> noise(0, deviation);
    for (auto& sample : recording.samples)
        sample = static_cast<std::int16_t>(std::clamp(sample + noise(random), -32'768.0, 32'767.0));
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
    return transcriber.transcribe(floats, recogniser::Search::Fast, {}).text;
}

/// A sound file as the application hears it; empty when it cannot be played.
Samples captured(const char* path) {
    std::promise<void> finished;
    bool atEnd = false; // silence follows
    Samples samples;
    FileCapture capture({path, 1e6, [&] {
                             atEnd = true;
                             finished.set_value();
                         }});
    const auto from = capture.format();
    const auto to = AVAudioFormat::make(AVAudioCommonFormat::Int16, 16'000, 1, false);
    const auto converter = from ? AVAudioConverter::make(*from, *to) : nullptr;
    const auto convert = [&](const std::shared_ptr<AVAudioPCMBuffer>& buffer) {
        const auto converted = AVAudioPCMBuffer::make(*to, 1'600);
        converted->setFrameLength(1'600);
        if (!atEnd && converter->convert(*converted, [&buffer] { return buffer; }))
            samples.insert(samples.end(), converted->int16ChannelData(0), converted->int16ChannelData(0) + 1'600);
    };
    if (converter && capture.start(static_cast<std::uint32_t>(from->sampleRate() / 10), convert))
        finished.get_future().wait();
    capture.stop();
    return samples;
}

} // namespace

int main(int argc, char** argv) {
    const std::filesystem::path source = PARLOWEN_SOURCE_DIR;
    const auto places = service::ModelRegistry::Places::ofThisProgram("/nowhere");
    const auto model = recogniser::ModelFolder::at(places.installed / "moonshine-base-en");
    if (places.program.empty() || !model)
        return std::puts("there is no recogniser here (./dev setup)"), 1;
    const auto bare =
        recogniser::loadBareTranscriber(recogniser::SherpaLibrary::load(places.installed.parent_path()), *model);
    service::RecogniserEngine engine(places);
    for (const auto* file : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        const auto samples = captured(file);
        std::puts(nlohmann::json{
            {"file", file}, {"service", heardByService(engine, samples)}, {"library", heardByLibrary(*bare, samples)}}
                      .dump()
                      .c_str());
    }
    if (argc > 1)
        return 0;
    bool met = true;
    const auto compare = [&](const std::string& name, const std::vector<Recording>& recordings, double target) {
        double rate = 0, base = 0;
        for (const auto& recording : recordings) {
            rate += 100 * wordErrorRate(recording.words, heardByService(engine, recording.samples));
            base += 100 * wordErrorRate(recording.words, heardByLibrary(*bare, recording.samples));
        }
        rate /= static_cast<double>(recordings.size());
        base /= static_cast<double>(recordings.size());
        met &= judge(("word error rate, " + name).c_str(), rate, target, "%");
        met &= judge(("  above the bare library's " + std::to_string(base) + " %").c_str(), rate - base, mostWorse,
                     "points");
    };
    for (const auto& recording : {sampleInterview(source), sampleReading(source)}) {
        compare(recording.name, {recording}, recording.name == "sample" ? 2 : 5);
        for (const auto& [decibels, target] : {std::pair{20, 7}, {10, 25}}) {
            std::vector<Recording> noisy;
            for (int seed = 1; seed <= noises; ++seed)
                noisy.push_back(withNoise(recording, decibels, seed));
            compare(recording.name + ", noise at " + std::to_string(decibels) + " dB, mean of " +
                        std::to_string(noises),
                    noisy, target);
        }
    }
    return met ? 0 : 1;
}
