#include "MoonshineTranscriber.h"

#include "Library/OnnxNetwork.h"
#include "Protocol/Frames.h"
#include "RepeatGuard.h"
#include "Vocabulary.h"
#include "Words.h"

#include <algorithm>
#include <array>
#include <future>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <utility>

namespace parlowen::recogniser {

namespace {

using Tensor = OnnxNetwork::Tensor;

constexpr std::int64_t beginOfText = 1;
constexpr std::size_t candidates = 5;
constexpr std::size_t mostTokensPerSecond = 15; // of any language; the library stops there, too

// Found by trial with speech in several voices and forms: a sixth fewer wrong words than with one text, at half as
// many steps of the decoder again. Wider margins and more texts find no more.
constexpr SearchBounds thorough{4, 1.5F, 0};
constexpr SearchBounds fast{1, 0, 0};
constexpr std::size_t mostOtherwiseSpelled = 3; // words that a text may have less without missing any
constexpr float leastSure = -1.05F;             // a third

using Cores = std::counting_semaphore<>;
struct ReleaseCore {
    void operator()(Cores* cores) const { cores->release(); }
};
using Core = std::unique_ptr<Cores, ReleaseCore>; ///< one that is taken; null where none was free

/// What the decoder has worked out so far, layer by layer: keys and values of the text, keys and values of the speech.
/// Texts that begin alike share them.
struct DecoderState {
    std::vector<std::shared_ptr<const onnx::Value>> parts;
};
constexpr std::size_t partsOfLayer = 4;
constexpr std::size_t partsOfText = 2; // the first ones of a layer

class MoonshineTranscriber : public Transcriber {
public:
    MoonshineTranscriber(const SherpaLibrary& library, const ModelFolder& model)
        : encoder_(library, model.files.at("encoder"))
        , decoder_(library, model.files.at("decoder"))
        , vocabulary_(model.files.at("tokens")) {
        const auto inputs = decoder_.inputCount();
        const auto shape = decoder_.shapeOfInput(2);
        if (inputs <= 3 || (inputs - 3) % partsOfLayer != 0 || shape.size() != 4)
            throw std::runtime_error("the networks are not an encoder and a merged decoder of Moonshine");
        nameParts((inputs - 3) / partsOfLayer);
        emptyShape_ = {1, shape[1], 0, shape[3]};
        transcribe(std::vector<float>(sampleRate), Search::Fast, {}); // throws where a name is another
    }

    Transcript transcribe(std::span<const float> samples, Search search, const Tokens& draft) override {
        if (samples.size() < fewestSamples)
            return {};
        const Core core(cores_.try_acquire() ? &cores_ : nullptr);
        auto bounds = search == Search::Thorough ? thorough : fast;
        bounds.mostTokens = samples.size() * mostTokensPerSecond / sampleRate + 1;
        const auto speech = encoded(samples);
        const auto proceed = [&](std::span<const Step> steps) { return nextOf(speech, steps); };
        auto [begun, continuation] = begin(speech, draft, bounds);
        const auto found = findText(begun, std::move(continuation), proceed, bounds);
        auto transcript = transcriptOf(found.likeliest);
        auto plain = transcriptOf(found.plain);
        const bool misses = wordsOf(plain.text).size() > wordsOf(transcript.text).size() + mostOtherwiseSpelled;
        return misses ? plain : transcript;
    }

private:
    Transcript transcriptOf(const Candidates& found) const {
        Transcript transcript;
        std::size_t word = 0; // where the last one begins
        std::size_t sure = std::string::npos;
        for (const auto& [token, score] : found) {
            auto piece = vocabulary_.textOf({token});
            if (piece.starts_with(' ')) {
                word = transcript.text.size();
                piece.erase(0, word == 0 ? 1 : 0);
            }
            if (score < leastSure && !wordsOf(piece).empty() && !wordsOf(piece).front().key.empty())
                sure = std::min(sure, word);
            transcript.text += piece;
            transcript.draft.push_back(token);
        }
        transcript.text = trimmed(transcript.text);
        transcript.tokens = found.size();
        transcript.sure = std::min(sure, transcript.text.size());
        return transcript;
    }

    void nameParts(std::size_t layers) {
        inputNames_ = {"input_ids", "encoder_hidden_states"};
        outputNames_ = outputNamesOfNext_ = {"logits"};
        for (std::size_t layer = 0; layer < layers; ++layer)
            for (const std::string part : {".decoder.key", ".decoder.value", ".encoder.key", ".encoder.value"}) {
                inputNames_.push_back("past_key_values." + std::to_string(layer) + part);
                outputNames_.push_back("present." + std::to_string(layer) + part);
                if (part.starts_with(".decoder"))
                    outputNamesOfNext_.push_back(outputNames_.back());
            }
        inputNames_.emplace_back("use_cache_branch");
    }

    Tensor encoded(std::span<const float> samples) const {
        static const std::vector<std::string> inputNames{"input_values"};
        static const std::vector<std::string> outputNames{"last_hidden_state"};
        const auto input = encoder_.tensor(samples, std::array{std::int64_t{1}, std::ssize(samples)});
        return std::move(encoder_.run(inputNames, std::array<const onnx::Value*, 1>{input.get()}, outputNames).front());
    }

    /// As much of the draft as holds, and what may follow it.
    std::pair<Candidates, Continuation> begin(const Tensor& speech, const Tokens& draft,
                                              const SearchBounds& bounds) const {
        const auto nothing = decoder_.tensor(std::span<const float>(), emptyShape_);
        const std::vector<const onnx::Value*> past(inputNames_.size() - 3, nothing.get());
        Tokens tokens{beginOfText};
        tokens.insert(tokens.end(), draft.begin(), draft.end());
        auto outputs = decode(speech, tokens, past, false, outputNames_);
        const auto logits = decoder_.elementsOf(outputs.front());
        const auto size = logits.size() / tokens.size();
        if (size > vocabulary_.size())
            throw std::length_error("the vocabulary has " + std::to_string(vocabulary_.size()) + " tokens, not " +
                                    std::to_string(size));
        const auto count = confirmed(draft, logits, bounds);
        auto state = std::make_shared<DecoderState>();
        for (std::size_t i = 0; i < past.size(); ++i)
            state->parts.push_back(i % partsOfLayer < partsOfText ? beginOfPart(outputs[i + 1], count + 1)
                                                                  : std::shared_ptr(std::move(outputs[i + 1])));
        Candidates held;
        for (std::size_t i = 0; i < count; ++i)
            held.push_back({draft[i], 0});
        return {held, {likeliest(logits.subspan(count * size, size), candidates), std::move(state)}};
    }

    /// Side by side on the cores that nobody decodes on, the others one after the other.
    std::vector<Continuation> nextOf(const Tensor& speech, std::span<const Step> steps) {
        std::vector<std::future<Continuation>> others;
        for (const auto& step : steps.subspan(1)) {
            Core core(cores_.try_acquire() ? &cores_ : nullptr);
            const auto policy = core ? std::launch::async : std::launch::deferred;
            others.push_back(
                std::async(policy, [this, &speech, &step, core = std::move(core)] { return next(speech, step); }));
        }
        std::vector<Continuation> all{next(speech, steps.front())};
        for (auto& other : others)
            all.push_back(other.get());
        return all;
    }

    Continuation next(const Tensor& speech, const Step& step) const {
        const auto& before = *std::static_pointer_cast<const DecoderState>(step.state);
        std::vector<const onnx::Value*> past;
        for (const auto& part : before.parts)
            past.push_back(part.get());
        auto outputs = decode(speech, {step.token}, past, true, outputNamesOfNext_);
        auto state = std::make_shared<DecoderState>(before);
        auto output = outputs.begin();
        for (std::size_t i = 0; i < past.size(); ++i)
            if (i % partsOfLayer < partsOfText)
                state->parts[i] = std::move(*++output);
        return {likeliest(decoder_.elementsOf(outputs.front()), candidates), std::move(state)};
    }

    std::vector<Tensor> decode(const Tensor& speech, const Tokens& tokens, const std::vector<const onnx::Value*>& past,
                               bool hasPast, const std::vector<std::string>& outputNames) const {
        const auto text = decoder_.tensor(tokens, std::array{std::int64_t{1}, std::ssize(tokens)});
        const auto usePast = decoder_.tensor(std::span(&hasPast, 1), std::array{std::int64_t{1}});
        std::vector<const onnx::Value*> inputs{text.get(), speech.get()};
        inputs.insert(inputs.end(), past.begin(), past.end());
        inputs.push_back(usePast.get());
        return decoder_.run(inputNames_, inputs, outputNames);
    }

    /// What belongs to the first tokens of a text; a part's shape is [1, heads, tokens, width].
    std::shared_ptr<const onnx::Value> beginOfPart(Tensor& part, std::size_t tokens) const {
        auto shape = decoder_.shapeOf(part);
        if (shape.size() != emptyShape_.size())
            throw std::runtime_error("the decoder's keys and values have another shape");
        const auto all = std::exchange(shape[2], static_cast<std::int64_t>(tokens));
        if (all == shape[2])
            return std::move(part);
        struct Begin {
            std::vector<float> elements;
            Tensor tensor{nullptr, nullptr};
        };
        const auto begin = std::make_shared<Begin>();
        const auto elements = decoder_.elementsOf(part);
        for (std::int64_t head = 0; head < shape[1]; ++head) {
            const auto first = elements.begin() + head * all * shape[3];
            begin->elements.insert(begin->elements.end(), first, first + shape[2] * shape[3]);
        }
        begin->tensor = decoder_.tensor(begin->elements, shape);
        return {begin, begin->tensor.get()};
    }

    Cores cores_{static_cast<std::ptrdiff_t>(std::max(1U, std::thread::hardware_concurrency()))}; ///< free ones
    const OnnxNetwork encoder_;
    const OnnxNetwork decoder_;
    const Vocabulary vocabulary_;
    std::array<std::int64_t, 4> emptyShape_{};
    std::vector<std::string> inputNames_;
    std::vector<std::string> outputNames_;
    std::vector<std::string> outputNamesOfNext_; ///< the speech's keys and values stay
};

} // namespace

std::unique_ptr<Transcriber> loadMoonshine(const SherpaLibrary& library, const ModelFolder& model) {
    return std::make_unique<MoonshineTranscriber>(library, model);
}

} // namespace parlowen::recogniser
