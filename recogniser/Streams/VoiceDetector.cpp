#include "VoiceDetector.h"

#include "Library/SherpaLibrary.h"

#include <stdexcept>

namespace parlowen::recogniser {

namespace {

constexpr float threshold = 0.5F;
constexpr float bufferSeconds = 30;
constexpr float neverCut = 100'000; // seconds; long speech is cut elsewhere, at a quiet place

class SileroDetector : public VoiceDetector {
public:
    SileroDetector(const SherpaLibrary& library, const std::filesystem::path& model)
        : api(library) {
        sherpa::VadConfig config{};
        config.silero = {model.c_str(), threshold, 0.3F, 0.06F, static_cast<std::int32_t>(windowLength), neverCut};
        config.sampleRate = sampleRate;
        config.threads = 1;
        vad = api.createVad(&config, bufferSeconds);
        if (!vad)
            throw std::runtime_error("the voice detector cannot be loaded");
    }
    ~SileroDetector() override { api.destroyVad(vad); }
    SileroDetector(const SileroDetector&) = delete;
    SileroDetector& operator=(const SileroDetector&) = delete;

    bool feed(const Window& window) override {
        api.acceptVad(vad, window.data(), static_cast<std::int32_t>(window.size()));
        while (!api.vadEmpty(vad))
            api.vadPop(vad);
        return api.vadDetected(vad) != 0;
    }
    void reset() override { api.vadReset(vad); }

private:
    const SherpaLibrary& api;
    const sherpa::Vad* vad = nullptr;
};

} // namespace

std::unique_ptr<VoiceDetector> makeSileroDetector(const SherpaLibrary& library, const std::filesystem::path& model) {
    return std::make_unique<SileroDetector>(library, model);
}

} // namespace parlowen::recogniser
