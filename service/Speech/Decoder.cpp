#include "Decoder.h"

#include <algorithm>
#include <pocketsphinx.h>
#include <sphinxbase/cmn.h>
#include <sphinxbase/err.h>
#include <sphinxbase/feat.h>

namespace parlowen::service {

namespace {

struct FreeDecoder {
    void operator()(ps_decoder_t* decoder) const { ps_free(decoder); }
};
struct FreeConfig {
    void operator()(cmd_ln_t* config) const { cmd_ln_free_r(config); }
};
using DecoderHandle = std::unique_ptr<ps_decoder_t, FreeDecoder>;
using ConfigHandle = std::unique_ptr<cmd_ln_t, FreeConfig>;

void dropLogLine(void*, err_lvl_t, const char*, ...) {}

/// The library would write hundreds of lines to standard error.
void silenceLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        err_set_callback(dropLogLine, nullptr);
        err_set_logfp(nullptr);
    });
}

ConfigHandle configFor(const DecoderModel& model) {
    // Silence stays in: voice activity is found before, and offsets must not shift.
    return ConfigHandle(cmd_ln_init(nullptr, ps_args(), 1, "-hmm", model.acoustic.c_str(), "-lm",
                                    model.language.c_str(), "-dict", model.dictionary.c_str(), "-remove_silence", "no",
                                    nullptr));
}

class SphinxDecoder : public Decoder {
public:
    explicit SphinxDecoder(DecoderHandle decoderToUse)
        : decoder(std::move(decoderToUse)) {
        cmn_t& cmn = normalisation();
        initialMean.resize(static_cast<std::size_t>(cmn.veclen));
        cmn_live_get(&cmn, initialMean.data());
    }

    void startStream() override {
        if (running)
            ps_end_utt(decoder.get());
        running = false;
        ps_start_stream(decoder.get());
        cmn_live_set(&normalisation(), initialMean.data());
    }

    bool startUtterance() override { return running = ps_start_utt(decoder.get()) >= 0; }

    bool process(std::span<const std::int16_t> samples) override {
        return ps_process_raw(decoder.get(), samples.data(), samples.size(), 0, 0) >= 0;
    }

    std::string words() override {
        const char* text = ps_get_hyp(decoder.get(), nullptr);
        return text ? text : "";
    }

    Result endUtterance() override {
        running = false;
        if (ps_end_utt(decoder.get()) < 0)
            return {};
        Result result{words(), 0};
        if (!result.words.empty())
            result.confidence =
                std::clamp(logmath_exp(ps_get_logmath(decoder.get()), ps_get_prob(decoder.get())), 0.0, 1.0);
        return result;
    }

private:
    cmn_t& normalisation() { return *ps_get_feat(decoder.get())->cmn_struct; }

    DecoderHandle decoder;
    std::vector<mfcc_t> initialMean;
    bool running = false;
};

} // namespace

DecoderModel DecoderModel::english(const std::filesystem::path& models) {
    const auto folder = models / "en-us";
    return {folder / "en-us", folder / "en-us.lm.bin", folder / "cmudict-en-us.dict"};
}

bool DecoderModel::exists() const {
    std::error_code error;
    return std::filesystem::is_directory(acoustic, error) && std::filesystem::is_regular_file(language, error) &&
           std::filesystem::is_regular_file(dictionary, error);
}

std::unique_ptr<Decoder> Decoder::load(const DecoderModel& model) {
    silenceLibrary();
    const auto config = configFor(model);
    DecoderHandle decoder(config ? ps_init(config.get()) : nullptr);
    if (!decoder)
        return nullptr;
    return std::make_unique<SphinxDecoder>(std::move(decoder));
}

DecoderPool::DecoderPool(DecoderModel modelToLoad, std::size_t keep)
    : model(std::move(modelToLoad))
    , mostIdle(keep) {}

std::unique_ptr<Decoder> DecoderPool::take() {
    const auto takeIdle = [this]() -> std::unique_ptr<Decoder> {
        const std::lock_guard lock(mutex);
        if (idle.empty())
            return nullptr;
        auto decoder = std::move(idle.back());
        idle.pop_back();
        return decoder;
    };
    if (auto decoder = takeIdle())
        return decoder;
    const std::lock_guard lock(loading);
    if (auto decoder = takeIdle()) // given back meanwhile
        return decoder;
    return Decoder::load(model);
}

void DecoderPool::giveBack(std::unique_ptr<Decoder> decoder) {
    const std::lock_guard lock(mutex);
    if (idle.size() < mostIdle)
        idle.push_back(std::move(decoder));
}

} // namespace parlowen::service
