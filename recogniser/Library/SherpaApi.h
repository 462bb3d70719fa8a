#pragma once

#include <cstddef>
#include <cstdint>

/// The part of the C interface of libsherpa-onnx-c-api.so 1.13.8 that is used here, written down since its packages
/// come without a header. A structure is zeroed first; null and 0 mean the library's default. Where a family of models
/// is not used, its members only keep the place. The assertions at the end hold the layout that was verified against
/// the library.
namespace parlowen::recogniser::sherpa {

inline constexpr const char* version = "1.13.8"; ///< what GetVersionStr of the library says

using Text = const char*;

struct FeatureConfig {
    std::int32_t sampleRate;
    std::int32_t featureDim;
};

struct TransducerModel {
    Text encoder, decoder, joiner;
};

struct WhisperModel {
    Text encoder, decoder, language, task;
    std::int32_t tailPaddings, tokenTimestamps, segmentTimestamps;
};

struct SenseVoiceModel {
    Text model, language;
    std::int32_t useItn;
};

struct MoonshineModel {
    Text preprocessor, encoder, uncachedDecoder, cachedDecoder, mergedDecoder;
};

struct FunAsrNanoModel {
    Text encoderAdaptor, llm, embedding, tokenizer, systemPrompt, userPrompt;
    std::int32_t maxNewTokens;
    float temperature, topP;
    std::int32_t seed;
    Text language;
    std::int32_t itn;
    Text hotwords;
};

struct Qwen3Model {
    Text convFrontend, encoder, decoder, tokenizer;
    std::int32_t maxTotalLength, maxNewTokens;
    float temperature, topP;
    std::int32_t seed;
    Text hotwords;
};

struct OfflineModelConfig {
    TransducerModel transducer;
    Text paraformer;
    Text nemoCtc;
    WhisperModel whisper;
    Text tdnn;
    Text tokens;
    std::int32_t threads;
    std::int32_t debug;
    Text provider, modelType, modelingUnit, bpeVocab, telespeechCtc;
    SenseVoiceModel senseVoice;
    MoonshineModel moonshine;
    Text fireRedEncoder, fireRedDecoder;
    Text dolphin;
    Text zipformerCtc;
    Text canaryEncoder, canaryDecoder, canarySource, canaryTarget;
    std::int32_t canaryPunctuation;
    Text wenetCtc;
    Text omnilingual;
    Text medAsr;
    FunAsrNanoModel funAsrNano;
    Text fireRedCtc;
    Qwen3Model qwen3;
    Text cohereEncoder, cohereDecoder, cohereLanguage;
    std::int32_t coherePunctuation, cohereItn;
};

struct HomophoneReplacer {
    Text dictionaryFolder, lexicon, ruleFsts;
};

struct OfflineRecognizerConfig {
    FeatureConfig features;
    OfflineModelConfig model;
    Text languageModel;
    float languageModelScale;
    Text decodingMethod;
    std::int32_t maxActivePaths;
    Text hotwordsFile;
    float hotwordsScore;
    Text ruleFsts, ruleFars;
    float blankPenalty;
    HomophoneReplacer replacer;
};

struct OfflineResult {
    Text text;
    float* timestamps;
    std::int32_t count; ///< of tokens
    Text tokens;
    // More follows that is not read.
};

struct OnlineModelConfig {
    TransducerModel transducer;
    Text paraformerEncoder, paraformerDecoder;
    Text zipformer2Ctc;
    Text tokens;
    std::int32_t threads;
    Text provider;
    std::int32_t debug;
    Text modelType, modelingUnit, bpeVocab, tokensBuffer;
    std::int32_t tokensBufferSize;
    Text nemoCtc;
    Text tOneCtc;
};

struct OnlineRecognizerConfig {
    FeatureConfig features;
    OnlineModelConfig model;
    Text decodingMethod;
    std::int32_t maxActivePaths;
    std::int32_t enableEndpoint;
    float silenceWithoutWords, silenceAfterWords, longestUtterance; ///< seconds; rules 1 to 3 for an endpoint
    Text hotwordsFile;
    float hotwordsScore;
    Text graph;
    std::int32_t graphMaxActive;
    Text ruleFsts, ruleFars;
    float blankPenalty;
    Text hotwordsBuffer;
    std::int32_t hotwordsBufferSize;
    HomophoneReplacer replacer;
};

struct OnlineResult {
    Text text;
    // More follows that is not read.
};

struct OfflineRecognizer;
struct OfflineStream;
struct OnlineRecognizer;
struct OnlineStream;

static_assert(sizeof(OfflineRecognizerConfig) == 608);
static_assert(offsetof(OfflineRecognizerConfig, model.tokens) == 104);
static_assert(offsetof(OfflineRecognizerConfig, model.threads) == 112);
static_assert(offsetof(OfflineRecognizerConfig, model.debug) == 116);
static_assert(offsetof(OfflineRecognizerConfig, model.provider) == 120);
static_assert(offsetof(OfflineRecognizerConfig, model.senseVoice.model) == 160);
static_assert(offsetof(OfflineRecognizerConfig, model.moonshine.encoder) == 192);
static_assert(offsetof(OfflineRecognizerConfig, model.moonshine.mergedDecoder) == 216);
static_assert(offsetof(OfflineRecognizerConfig, languageModel) == 512);
static_assert(offsetof(OfflineRecognizerConfig, decodingMethod) == 528);
static_assert(offsetof(OfflineRecognizerConfig, hotwordsFile) == 544);
static_assert(offsetof(OfflineRecognizerConfig, replacer) == 584);
static_assert(sizeof(OnlineRecognizerConfig) == 272);
static_assert(offsetof(OnlineRecognizerConfig, model.tokens) == 56);
static_assert(offsetof(OnlineRecognizerConfig, model.provider) == 72);
static_assert(offsetof(OnlineRecognizerConfig, decodingMethod) == 144);
static_assert(offsetof(OnlineRecognizerConfig, enableEndpoint) == 156);
static_assert(offsetof(OnlineRecognizerConfig, hotwordsFile) == 176);
static_assert(offsetof(OnlineRecognizerConfig, hotwordsBuffer) == 232);
static_assert(offsetof(OnlineRecognizerConfig, replacer) == 248);

} // namespace parlowen::recogniser::sherpa
