#include "VoiceDetector.h"

#include "Library/SherpaLibrary.h"

#include <algorithm>
#include <initializer_list>
#include <type_traits>
#include <utility>

namespace parlowen::recogniser {

namespace {

constexpr float threshold = 0.5F;
constexpr float thresholdToEnd = threshold - 0.15F;
constexpr int windowsToBegin = 3; // of speech, in a row
constexpr int windowsToEnd = 10;  // after the first one without

// The network takes some of the window before with each window, and carries on a state.
constexpr std::size_t overlap = 64;
constexpr std::size_t stateSize = 256;
constexpr int floatType = 1; // ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT
constexpr int int64Type = 7; // ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64

/// The network with its weights, once for all detectors.
class SileroNetwork {
public:
    SileroNetwork(const SherpaLibrary& library, const std::filesystem::path& model)
        : api_(*library.onnx)
        , memory_(onnx::memoryOfProcessor(api_)) {
        const auto options = made(api_, api_.releaseSessionOptions, api_.createSessionOptions);
        check(api_, api_.setIntraOpThreads(options.get(), 1));
        session_ = made(api_, api_.releaseSession, api_.createSession, library.onnxEnv, model.c_str(), options.get());
    }

    /// A tensor over data of the caller's.
    template<typename T, std::size_t size>
    onnx::Handle<onnx::Value> tensor(std::array<T, size>& data, std::initializer_list<std::int64_t> shape) const {
        return made(api_, api_.releaseValue, api_.createTensorWithData, memory_.get(), static_cast<void*>(data.data()),
                    sizeof data, shape.begin(), shape.size(), std::is_same_v<T, float> ? floatType : int64Type);
    }

    void run(std::array<const onnx::Value*, 3> inputs, std::array<onnx::Value*, 2> outputs) const {
        constexpr std::array inputNames{"input", "state", "sr"};
        constexpr std::array outputNames{"output", "stateN"};
        check(api_, api_.run(session_.get(), nullptr, inputNames.data(), inputs.data(), inputs.size(),
                             outputNames.data(), outputNames.size(), outputs.data()));
    }

private:
    const onnx::Table& api_;
    const onnx::Handle<onnx::MemoryInfo> memory_;
    onnx::Handle<onnx::Session> session_{nullptr, nullptr};
};

class SileroDetector : public VoiceDetector {
public:
    explicit SileroDetector(std::shared_ptr<const SileroNetwork> network)
        : network_(std::move(network)) {}

    bool feed(const Window& window) override {
        const float voice = probability(window);
        certain_ = voice <= thresholdToEnd ? certain_ + 1 : 0;
        if (!speaking_) {
            voiced_ = voice > threshold ? voiced_ + 1 : 0;
            speaking_ = voiced_ >= windowsToBegin;
            quiet_ = 0;
        } else if (voice > threshold) {
            quiet_ = 0;
        } else if (quiet_ > 0 || voice <= thresholdToEnd) {
            speaking_ = quiet_++ < windowsToEnd || voice > thresholdToEnd;
            voiced_ = 0;
        }
        return speaking_;
    }
    std::int64_t quiet() const override { return certain_ * std::int64_t{windowLength}; }

private:
    /// Of what lies `windowLength - overlap` before the end of the window.
    float probability(const Window& window) {
        std::copy(window.begin(), window.begin() + overlap, input_.begin() + windowLength);
        if (std::exchange(begun_, true)) {
            network_->run({inputTensor_.get(), stateTensor_.get(), rateTensor_.get()},
                          {voiceTensor_.get(), nextStateTensor_.get()});
            state_ = nextState_;
        }
        std::copy(window.begin(), window.end(), input_.begin());
        return voice_.front();
    }

    const std::shared_ptr<const SileroNetwork> network_;
    bool begun_ = false;
    bool speaking_ = false;
    int voiced_ = 0;           ///< windows in a row, while nobody speaks
    int quiet_ = 0;            ///< windows since the first one without speech
    std::int64_t certain_ = 0; ///< windows in a row that hold none

    std::array<float, windowLength + overlap> input_{};
    std::array<float, stateSize> state_{}, nextState_{};
    std::array<std::int64_t, 1> rate_{sampleRate};
    std::array<float, 1> voice_{};
    const onnx::Handle<onnx::Value> inputTensor_ = network_->tensor(input_, {1, windowLength + overlap});
    const onnx::Handle<onnx::Value> stateTensor_ = network_->tensor(state_, {2, 1, stateSize / 2});
    const onnx::Handle<onnx::Value> nextStateTensor_ = network_->tensor(nextState_, {2, 1, stateSize / 2});
    const onnx::Handle<onnx::Value> rateTensor_ = network_->tensor(rate_, {1});
    const onnx::Handle<onnx::Value> voiceTensor_ = network_->tensor(voice_, {1, 1});
};

} // namespace

DetectorFactory sileroDetectors(const SherpaLibrary& library, const std::filesystem::path& model) {
    return [network = std::make_shared<const SileroNetwork>(library, model)] {
        return std::make_unique<SileroDetector>(network);
    };
}

} // namespace parlowen::recogniser
