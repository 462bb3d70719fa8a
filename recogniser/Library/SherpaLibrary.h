#pragma once

#include "OnnxApi.h"
#include "SherpaApi.h"

#include <filesystem>
#include <memory>
#include <string>

namespace parlowen::recogniser {

/// The functions of the library that are used, loaded at run time. Lives until the process ends.
struct SherpaLibrary {
    /// From `libsherpa-onnx-c-api.so` in the folder, which `libonnxruntime.so` must lie in too. Throws
    /// std::runtime_error with plain words when it cannot be used, or is of another version than SherpaApi.h.
    static const SherpaLibrary& load(const std::filesystem::path& folder);

    const char* (*version)() = nullptr;

    const sherpa::OfflineRecognizer* (*createOffline)(const sherpa::OfflineRecognizerConfig*) = nullptr;
    void (*destroyOffline)(const sherpa::OfflineRecognizer*) = nullptr;
    const sherpa::OfflineStream* (*createOfflineStream)(const sherpa::OfflineRecognizer*) = nullptr;
    void (*destroyOfflineStream)(const sherpa::OfflineStream*) = nullptr;
    void (*acceptOffline)(const sherpa::OfflineStream*, std::int32_t rate, const float*, std::int32_t) = nullptr;
    void (*decodeOffline)(const sherpa::OfflineRecognizer*, const sherpa::OfflineStream*) = nullptr;
    const sherpa::OfflineResult* (*offlineResult)(const sherpa::OfflineStream*) = nullptr;
    void (*destroyOfflineResult)(const sherpa::OfflineResult*) = nullptr;

    const sherpa::OnlineRecognizer* (*createOnline)(const sherpa::OnlineRecognizerConfig*) = nullptr;
    void (*destroyOnline)(const sherpa::OnlineRecognizer*) = nullptr;
    const sherpa::OnlineStream* (*createOnlineStream)(const sherpa::OnlineRecognizer*) = nullptr;
    void (*destroyOnlineStream)(const sherpa::OnlineStream*) = nullptr;
    void (*acceptOnline)(const sherpa::OnlineStream*, std::int32_t rate, const float*, std::int32_t) = nullptr;
    std::int32_t (*onlineReady)(const sherpa::OnlineRecognizer*, const sherpa::OnlineStream*) = nullptr;
    void (*decodeOnline)(const sherpa::OnlineRecognizer*, const sherpa::OnlineStream*) = nullptr;
    const sherpa::OnlineResult* (*onlineResult)(const sherpa::OnlineRecognizer*, const sherpa::OnlineStream*) = nullptr;
    void (*destroyOnlineResult)(const sherpa::OnlineResult*) = nullptr;
    void (*resetOnline)(const sherpa::OnlineRecognizer*, const sherpa::OnlineStream*) = nullptr;
    void (*finishOnline)(const sherpa::OnlineStream*) = nullptr;
    std::int32_t (*onlineEndpoint)(const sherpa::OnlineRecognizer*, const sherpa::OnlineStream*) = nullptr;

    std::string provider; ///< that the networks are to name in their configuration; their memory is shared with it

    // The runtime that the library stands on.
    const onnx::Table* onnx = nullptr;
    const onnx::Env* onnxEnv = nullptr;
};

} // namespace parlowen::recogniser
