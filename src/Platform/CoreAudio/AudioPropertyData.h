#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Property values as bytes, in host order, and back.
namespace parlowen {

template<class T>
requires std::is_trivially_copyable_v<T> &&(!std::is_pointer_v<T>)std::vector<std::byte> propertyData(const T& value) {
    const auto bytes = std::as_bytes(std::span(&value, 1));
    return {bytes.begin(), bytes.end()};
}

template<class T>
std::vector<std::byte> propertyData(const std::vector<T>& values) {
    const auto bytes = std::as_bytes(std::span(values));
    return {bytes.begin(), bytes.end()};
}

inline std::vector<std::byte> propertyData(const std::string& text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

/// None when the size is another.
template<class T>
std::optional<T> propertyValue(std::span<const std::byte> data) {
    if (data.size() != sizeof(T))
        return std::nullopt;
    T value;
    std::memcpy(&value, data.data(), sizeof(T));
    return value;
}

/// None when the size is no multiple of one value's.
template<class T>
std::optional<std::vector<T>> propertyValues(std::span<const std::byte> data) {
    if (data.size() % sizeof(T) != 0)
        return std::nullopt;
    std::vector<T> values(data.size() / sizeof(T));
    if (!values.empty())
        std::memcpy(values.data(), data.data(), data.size());
    return values;
}

inline std::string propertyText(std::span<const std::byte> data) {
    std::string text(data.size(), '\0');
    if (!data.empty())
        std::memcpy(text.data(), data.data(), data.size());
    return text;
}

} // namespace parlowen
