#include "SherpaLibrary.h"

#include <cstring>
#include <dlfcn.h>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace parlowen::recogniser {

namespace {

template<typename Function>
void find(void* library, const char* name, Function& function) {
    void* symbol = dlsym(library, name);
    if (!symbol)
        throw std::runtime_error(std::string("the speech library lacks ") + name);
    std::memcpy(&function, &symbol, sizeof symbol);
}

void findOffline(void* library, SherpaLibrary& api) {
    find(library, "SherpaOnnxCreateOfflineRecognizer", api.createOffline);
    find(library, "SherpaOnnxDestroyOfflineRecognizer", api.destroyOffline);
    find(library, "SherpaOnnxCreateOfflineStream", api.createOfflineStream);
    find(library, "SherpaOnnxDestroyOfflineStream", api.destroyOfflineStream);
    find(library, "SherpaOnnxAcceptWaveformOffline", api.acceptOffline);
    find(library, "SherpaOnnxDecodeOfflineStream", api.decodeOffline);
    find(library, "SherpaOnnxGetOfflineStreamResult", api.offlineResult);
    find(library, "SherpaOnnxDestroyOfflineRecognizerResult", api.destroyOfflineResult);
}

void findOnline(void* library, SherpaLibrary& api) {
    find(library, "SherpaOnnxCreateOnlineRecognizer", api.createOnline);
    find(library, "SherpaOnnxDestroyOnlineRecognizer", api.destroyOnline);
    find(library, "SherpaOnnxCreateOnlineStream", api.createOnlineStream);
    find(library, "SherpaOnnxDestroyOnlineStream", api.destroyOnlineStream);
    find(library, "SherpaOnnxOnlineStreamAcceptWaveform", api.acceptOnline);
    find(library, "SherpaOnnxIsOnlineStreamReady", api.onlineReady);
    find(library, "SherpaOnnxDecodeOnlineStream", api.decodeOnline);
    find(library, "SherpaOnnxGetOnlineStreamResult", api.onlineResult);
    find(library, "SherpaOnnxDestroyOnlineRecognizerResult", api.destroyOnlineResult);
    find(library, "SherpaOnnxOnlineStreamReset", api.resetOnline);
    find(library, "SherpaOnnxOnlineStreamInputFinished", api.finishOnline);
    find(library, "SherpaOnnxOnlineStreamIsEndpoint", api.onlineEndpoint);
}

/// An arena that all networks share, and that grows by what is asked for. On its own each network would have one that
/// doubles: two decodings of 10 s at a time, 470 MB instead of 340, and a little more each time for half an hour.
void findRuntime(void* library, SherpaLibrary& api) {
    const onnx::ApiBase* (*base)() = nullptr;
    find(library, "OrtGetApiBase", base);
    api.onnx = base()->table(onnx::tableVersion);
    constexpr int warnings = 2;
    constexpr const char* strategy = "arena_extend_strategy";
    constexpr std::size_t sameAsRequested = 1;
    auto env = made(*api.onnx, api.onnx->releaseEnv, api.onnx->createEnv, warnings, "speech");
    const auto config = made(*api.onnx, api.onnx->releaseArenaConfig, api.onnx->createArenaConfig, &strategy,
                             &sameAsRequested, std::size_t{1});
    check(*api.onnx, api.onnx->registerArena(env.get(), memoryOfProcessor(*api.onnx).get(), config.get()));
    api.onnxEnv = env.release();
    // The library takes the options of a session from a file alone.
    constexpr std::string_view options = "SessionConfig.session.use_env_allocators=1\n";
    const int file = memfd_create("session-options", MFD_CLOEXEC);
    if (write(file, options.data(), options.size()) != static_cast<ssize_t>(options.size()))
        throw std::runtime_error("there is no memory for the speech library's options");
    api.provider = "cpu:/proc/self/fd/" + std::to_string(file);
}

SherpaLibrary loaded(const std::filesystem::path& folder) {
    void* library = dlopen((folder / "libsherpa-onnx-c-api.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw std::runtime_error(std::string("the speech library cannot be loaded: ") + dlerror());
    SherpaLibrary api;
    find(library, "SherpaOnnxGetVersionStr", api.version);
    if (std::strcmp(api.version(), sherpa::version) != 0)
        throw std::runtime_error(std::string("the speech library is version ") + api.version() + ", not " +
                                 sherpa::version);
    findOffline(library, api);
    findOnline(library, api);
    findRuntime(library, api);
    return api;
}

} // namespace

const SherpaLibrary& SherpaLibrary::load(const std::filesystem::path& folder) {
    static const SherpaLibrary library = loaded(folder);
    return library;
}

} // namespace parlowen::recogniser
