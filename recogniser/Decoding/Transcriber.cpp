#include "Transcriber.h"

#include "MoonshineTranscriber.h"
#include "QuietPlace.h"
#include "RepeatGuard.h"
#include "Words.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <numeric>
#include <random>
#include <stdexcept>
#include <vector>

namespace parlowen::recogniser {

namespace {

constexpr std::size_t shortestToHalve = 3 * std::size_t{sampleRate};
constexpr std::size_t shortestToBelieve = sampleRate * 8 / 10;

class OfflineTranscriber : public Transcriber {
public:
    OfflineTranscriber(const SherpaLibrary& library, const sherpa::OfflineRecognizerConfig& config)
        : api_(library)
        , recognizer_(library.createOffline(&config)) {
        if (!recognizer_)
            throw std::runtime_error("the speech library does not take the model");
    }
    ~OfflineTranscriber() override { api_.destroyOffline(recognizer_); }
    OfflineTranscriber(const OfflineTranscriber&) = delete;
    OfflineTranscriber& operator=(const OfflineTranscriber&) = delete;

    Transcript transcribe(std::span<const float> samples, Search, const Tokens&) override {
        if (samples.size() < fewestSamples) // of which the library makes an error
            return {};
        const std::unique_ptr<const sherpa::OfflineStream, void (*)(const sherpa::OfflineStream*)> stream(
            api_.createOfflineStream(recognizer_), api_.destroyOfflineStream);
        api_.acceptOffline(stream.get(), sampleRate, samples.data(), static_cast<std::int32_t>(samples.size()));
        api_.decodeOffline(recognizer_, stream.get());
        const std::unique_ptr<const sherpa::OfflineResult, void (*)(const sherpa::OfflineResult*)> result(
            api_.offlineResult(stream.get()), api_.destroyOfflineResult);
        if (!result || !result->text)
            return {};
        auto text = trimmed(result->text);
        const auto all = text.size(); // the library does not tell
        return {std::move(text), static_cast<std::size_t>(std::max(0, result->count)), all, {}};
    }

private:
    const SherpaLibrary& api_;
    const sherpa::OfflineRecognizer* const recognizer_;
};

void setFiles(sherpa::OfflineModelConfig& config, const ModelFolder& model) {
    const auto file = [&model](const char* part) { return model.files.at(part).c_str(); };
    config.tokens = file("tokens");
    switch (model.family) {
    case ModelFamily::Moonshine:
        config.moonshine.encoder = file("encoder");
        config.moonshine.mergedDecoder = file("decoder");
        break;
    case ModelFamily::Whisper:
        config.whisper.encoder = file("encoder");
        config.whisper.decoder = file("decoder");
        config.whisper.task = "transcribe";
        break;
    case ModelFamily::SenseVoice:
        config.senseVoice.model = file("model");
        config.senseVoice.language = "auto";
        config.senseVoice.useItn = 1; // which brings punctuation as well
        break;
    case ModelFamily::Paraformer:
        config.paraformer = file("model");
        break;
    case ModelFamily::Transducer:
        config.transducer = {file("encoder"), file("decoder"), file("joiner")};
        break;
    default:
        throw std::logic_error("a streaming model is no transcriber");
    }
}

/// The samples with noise 40 dB below their level, the same every time. Where there is no sound at all, such as above
/// 4 kHz in a telephone call, models of 8 bits mishear words that they understand in a noise that nobody hears.
std::vector<float> withNoise(std::span<const float> samples) {
    constexpr float share = 0.01F;
    const float energy = std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0F);
    const float level = share * std::sqrt(energy / static_cast<float>(std::max<std::size_t>(1, samples.size())));
    std::minstd_rand random;
    std::normal_distribution<float> noise;
    std::vector<float> noisy(samples.begin(), samples.end());
    for (float& sample : noisy)
        sample += level * noise(random);
    return noisy;
}

double secondsOf(std::span<const float> samples) { return static_cast<double>(samples.size()) / sampleRate; }

bool isSound(const Transcript& transcript, std::span<const float> samples) {
    return transcript.tokens <= mostTokens(secondsOf(samples)) && !repeatsItself(transcript.text);
}

/// Up to the first word that was there before: of a syllable or two a model likes to make more than there is.
std::string beforeRepeat(std::string text) {
    const auto words = wordsOf(text);
    for (auto word = words.begin(); word != words.end(); ++word)
        if (std::any_of(words.begin(), word, [word](const Word& other) { return other.key == word->key; })) {
            text.resize((word - 1)->end);
            break;
        }
    return text;
}

} // namespace

std::string trimmed(std::string_view text) {
    const auto begin = std::min(text.find_first_not_of(" \t\n"), text.size());
    const auto end = text.find_last_not_of(" \t\n");
    return end == std::string_view::npos ? std::string() : std::string(text.substr(begin, end + 1 - begin));
}

std::unique_ptr<Transcriber> loadTranscriber(const SherpaLibrary& library, const ModelFolder& model) {
    if (model.family == ModelFamily::Moonshine) {
        try {
            return loadMoonshine(library, model);
        } catch (const std::runtime_error& problem) {
            // Of another make; the library knows more of them.
            std::cerr << model.name << " is left to the speech library: " << problem.what() << std::endl;
        }
    }
    return loadBareTranscriber(library, model);
}

std::unique_ptr<Transcriber> loadBareTranscriber(const SherpaLibrary& library, const ModelFolder& model) {
    sherpa::OfflineRecognizerConfig config{};
    config.features = {sampleRate, 80};
    config.model.threads = 1; // more do not make one decoding faster; several decodings run side by side
    config.model.provider = library.provider.c_str();
    config.decodingMethod = "greedy_search";
    setFiles(config.model, model);
    return std::make_unique<OfflineTranscriber>(library, config);
}

std::optional<std::string> partialText(Transcriber& transcriber, std::span<const float> samples, Tokens& draft) {
    auto transcript = transcriber.transcribe(withNoise(samples), Search::Fast, draft);
    if (samples.size() < shortestToBelieve) {
        transcript.text.resize(transcript.sure);
        return withoutEnd(beforeRepeat(std::move(transcript.text)));
    }
    draft = std::move(transcript.draft);
    if (isSound(transcript, samples))
        return withoutEnd(std::move(transcript.text));
    draft.clear();
    // A loop stands at the end, often inside a word.
    auto text = withoutRepeats(transcript.text);
    const auto words = wordsOf(text);
    if (words.size() < 2)
        return std::nullopt;
    text.resize(words[words.size() - 2].end);
    return withoutEnd(std::move(text));
}

std::string finalText(Transcriber& transcriber, std::span<const float> samples) {
    auto whole = transcriber.transcribe(withNoise(samples), Search::Thorough, {});
    if (isSound(whole, samples))
        return std::move(whole.text);
    if (samples.size() < shortestToHalve)
        return withoutRepeats(whole.text);
    const auto third = samples.size() / 3;
    const auto cut = quietPlace(samples.first(2 * third), third);
    const auto half = [&transcriber](std::span<const float> part) {
        return withoutRepeats(transcriber.transcribe(withNoise(part), Search::Thorough, {}).text);
    };
    return joinedAtCut(half(samples.first(cut)), half(samples.subspan(cut)));
}

} // namespace parlowen::recogniser
