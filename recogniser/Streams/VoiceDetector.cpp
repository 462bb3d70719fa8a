#include "VoiceDetector.h"

#include "Library/OnnxNetwork.h"

#include <algorithm>
#include <initializer_list>
#include <span>
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
constexpr std::array inputNames{"input", "state", "sr"};
constexpr std::array outputNames{"output", "stateN"};

class SileroDetector : public VoiceDetector {
public:
    explicit SileroDetector(std::shared_ptr<const OnnxNetwork> network)
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
            const std::array<const onnx::Value*, 3> inputs{inputTensor_.get(), stateTensor_.get(), rateTensor_.get()};
            std::array<onnx::Value*, 2> outputs{voiceTensor_.get(), nextStateTensor_.get()};
            network_->run(inputNames, inputs, outputNames, outputs);
            state_ = nextState_;
        }
        std::copy(window.begin(), window.end(), input_.begin());
        return voice_.front();
    }

    const std::shared_ptr<const OnnxNetwork> network_;
    bool begun_ = false;
    bool speaking_ = false;
    int voiced_ = 0;           ///< windows in a row, while nobody speaks
    int quiet_ = 0;            ///< windows since the first one without speech
    std::int64_t certain_ = 0; ///< windows in a row that hold none

    std::array<float, windowLength + overlap> input_{};
    std::array<float, stateSize> state_{}, nextState_{};
    std::array<std::int64_t, 1> rate_{sampleRate};
    std::array<float, 1> voice_{};
    template<typename T, std::size_t size>
    OnnxNetwork::Tensor tensor(const std::array<T, size>& data, std::initializer_list<std::int64_t> shape) const {
        return network_->tensor(std::span(data), shape);
    }
    const OnnxNetwork::Tensor inputTensor_ = tensor(input_, {1, windowLength + overlap});
    const OnnxNetwork::Tensor stateTensor_ = tensor(state_, {2, 1, stateSize / 2});
    const OnnxNetwork::Tensor nextStateTensor_ = tensor(nextState_, {2, 1, stateSize / 2});
    const OnnxNetwork::Tensor rateTensor_ = tensor(rate_, {1});
    const OnnxNetwork::Tensor voiceTensor_ = tensor(voice_, {1, 1});
};

} // namespace

DetectorFactory sileroDetectors(const SherpaLibrary& library, const std::filesystem::path& model) {
    return [network = std::make_shared<const OnnxNetwork>(library, model)] {
        return std::make_unique<SileroDetector>(network);
    };
}

} // namespace parlowen::recogniser
