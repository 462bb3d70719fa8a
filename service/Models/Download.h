#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace parlowen::service {

/// A file from the network to the disk.
struct Download {
    std::string address;        ///< https, or http when the sum is known
    std::filesystem::path file; ///< what is there already is gone on with
    std::uintmax_t bytes = 0;   ///< 0: not known
    std::string sha256;         ///< hexadecimal; empty: not known
    /// Bytes that are there and bytes in all, 0 when that is not known.
    std::function<void(std::uintmax_t, std::uintmax_t)> progress;
    /// Nothing has come for `stall`; once for each such pause, or a second later.
    std::function<void()> stalled = {};
    std::chrono::milliseconds stall = std::chrono::seconds(5);
};

/// Throws std::runtime_error with plain words when it may not be fetched from there.
void requireSafe(const Download& download);

/// Fetches it, tries again from where a connection was cut, and checks size and sum. Throws std::runtime_error with
/// plain words; what is there then stays for another try, unless it is wrong.
void fetch(const Download& download);

/// In hexadecimal. Throws std::runtime_error when the file cannot be read.
std::string sha256Of(const std::filesystem::path& file);

} // namespace parlowen::service
