#include "SherpaLibrary.h"

#include <cstring>
#include <dlfcn.h>
#include <stdexcept>

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
    find(library, "OrtGetApiBase", api.onnxRuntime);
    return api;
}

} // namespace

const SherpaLibrary& SherpaLibrary::load(const std::filesystem::path& folder) {
    static const SherpaLibrary library = loaded(folder);
    return library;
}

} // namespace parlowen::recogniser
