#pragma once

#include "OnnxApi.h"

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace parlowen::recogniser {

struct SherpaLibrary;

/// A network with its weights, run on one thread, by several at a time if they like. Every function throws
/// std::runtime_error when the runtime refuses.
class OnnxNetwork {
public:
    using Tensor = onnx::Handle<onnx::Value>;

    OnnxNetwork(const SherpaLibrary& library, const std::filesystem::path& file);

    /// A tensor over data of the caller's, which must live as long.
    Tensor tensor(std::span<const float> data, std::span<const std::int64_t> shape) const;
    Tensor tensor(std::span<const std::int64_t> data, std::span<const std::int64_t> shape) const;
    Tensor tensor(std::span<const bool> data, std::span<const std::int64_t> shape) const;

    /// Every element, the last dimension's neighbours beside each other; lives as long as the tensor.
    std::span<const float> elementsOf(const Tensor& tensor) const;
    std::vector<std::int64_t> shapeOf(const Tensor& tensor) const;

    std::size_t inputCount() const;
    /// -1 where any size will do.
    std::vector<std::int64_t> shapeOfInput(std::size_t index) const;

    std::vector<Tensor> run(std::span<const std::string> inputNames, std::span<const onnx::Value* const> inputs,
                            std::span<const std::string> outputNames) const;
    /// Into tensors of the caller's.
    void run(std::span<const char* const> inputNames, std::span<const onnx::Value* const> inputs,
             std::span<const char* const> outputNames, std::span<onnx::Value*> outputs) const;

private:
    Tensor tensor(const void* data, std::size_t bytes, std::span<const std::int64_t> shape, int type) const;
    std::vector<std::int64_t> shapeOf(const onnx::TensorType* type) const;

    const onnx::Table& api_;
    const onnx::Handle<onnx::MemoryInfo> memory_;
    onnx::Handle<onnx::Session> session_{nullptr, nullptr};
};

} // namespace parlowen::recogniser
