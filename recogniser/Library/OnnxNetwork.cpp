#include "OnnxNetwork.h"

#include "SherpaLibrary.h"

#include <algorithm>

namespace parlowen::recogniser {

namespace {

// ONNX_TENSOR_ELEMENT_DATA_TYPE_...
constexpr int floatType = 1;
constexpr int int64Type = 7;
constexpr int boolType = 9;

std::vector<const char*> pointersTo(std::span<const std::string> names) {
    std::vector<const char*> pointers(names.size());
    std::transform(names.begin(), names.end(), pointers.begin(), [](const auto& name) { return name.c_str(); });
    return pointers;
}

} // namespace

OnnxNetwork::OnnxNetwork(const SherpaLibrary& library, const std::filesystem::path& file)
    : api_(*library.onnx)
    , memory_(onnx::memoryOfProcessor(api_)) {
    const auto options = made(api_, api_.releaseSessionOptions, api_.createSessionOptions);
    check(api_, api_.setIntraOpThreads(options.get(), 1));
    check(api_, api_.addSetting(options.get(), "session.use_env_allocators", "1"));
    session_ = made(api_, api_.releaseSession, api_.createSession, library.onnxEnv, file.c_str(), options.get());
}

OnnxNetwork::Tensor OnnxNetwork::tensor(const void* data, std::size_t bytes, std::span<const std::int64_t> shape,
                                        int type) const {
    return made(api_, api_.releaseValue, api_.createTensorWithData, memory_.get(), const_cast<void*>(data), bytes,
                shape.data(), shape.size(), type);
}

OnnxNetwork::Tensor OnnxNetwork::tensor(std::span<const float> data, std::span<const std::int64_t> shape) const {
    return tensor(data.data(), data.size_bytes(), shape, floatType);
}

OnnxNetwork::Tensor OnnxNetwork::tensor(std::span<const std::int64_t> data, std::span<const std::int64_t> shape) const {
    return tensor(data.data(), data.size_bytes(), shape, int64Type);
}

OnnxNetwork::Tensor OnnxNetwork::tensor(std::span<const bool> data, std::span<const std::int64_t> shape) const {
    return tensor(data.data(), data.size_bytes(), shape, boolType);
}

std::span<const float> OnnxNetwork::elementsOf(const Tensor& tensor) const {
    const auto type = made(api_, api_.releaseTensorType, api_.typeOfTensor, tensor.get());
    int element = 0;
    check(api_, api_.elementOf(type.get(), &element));
    if (element != floatType)
        throw std::runtime_error("a network's output holds other numbers than 32-bit floats");
    std::size_t count = 0;
    check(api_, api_.elementCountOf(type.get(), &count));
    void* data = nullptr;
    check(api_, api_.dataOf(tensor.get(), &data));
    return {static_cast<const float*>(data), count};
}

std::vector<std::int64_t> OnnxNetwork::shapeOf(const onnx::TensorType* type) const {
    std::size_t count = 0;
    check(api_, api_.dimensionCountOf(type, &count));
    std::vector<std::int64_t> shape(count);
    check(api_, api_.dimensionsOf(type, shape.data(), count));
    return shape;
}

std::vector<std::int64_t> OnnxNetwork::shapeOf(const Tensor& tensor) const {
    return shapeOf(made(api_, api_.releaseTensorType, api_.typeOfTensor, tensor.get()).get());
}

std::size_t OnnxNetwork::inputCount() const {
    std::size_t count = 0;
    check(api_, api_.countOfInputs(session_.get(), &count));
    return count;
}

std::vector<std::int64_t> OnnxNetwork::shapeOfInput(std::size_t index) const {
    const auto type = made(api_, api_.releaseType, api_.typeOfInput, session_.get(), index);
    const onnx::TensorType* tensorType = nullptr; // which is the type's
    check(api_, api_.asTensorType(type.get(), &tensorType));
    return tensorType ? shapeOf(tensorType) : std::vector<std::int64_t>();
}

std::vector<OnnxNetwork::Tensor> OnnxNetwork::run(std::span<const std::string> inputNames,
                                                  std::span<const onnx::Value* const> inputs,
                                                  std::span<const std::string> outputNames) const {
    std::vector<onnx::Value*> outputs(outputNames.size(), nullptr); // the runtime makes them
    run(pointersTo(inputNames), inputs, pointersTo(outputNames), outputs);
    std::vector<Tensor> tensors;
    for (auto* output : outputs)
        tensors.emplace_back(output, api_.releaseValue);
    return tensors;
}

void OnnxNetwork::run(std::span<const char* const> inputNames, std::span<const onnx::Value* const> inputs,
                      std::span<const char* const> outputNames, std::span<onnx::Value*> outputs) const {
    check(api_, api_.run(session_.get(), nullptr, inputNames.data(), inputs.data(), inputs.size(), outputNames.data(),
                         outputNames.size(), outputs.data()));
}

} // namespace parlowen::recogniser
