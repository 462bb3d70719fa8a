#pragma once

#include <chrono>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

namespace parlowen::service {

/// What a confined reader of one file wrote, and how it came to its end.
struct ReaderOutput {
    enum class End { Done, Damaged, WrongType, LimitExceeded, Unavailable };
    End end = End::Done;
    std::string bytes; ///< all of them only when it is done
};

/// Up to where a confined reader may go; beyond, it is killed.
struct ReaderLimits {
    std::chrono::steady_clock::time_point deadline;
    std::size_t bytes; ///< of its output
};

/// Reads a file that nobody vouches for in a child process that is confined (see ConfinedReader.h): with the program of
/// that path and arguments, or, without one, as a Word document. Blocks. A stop kills the child.
ReaderOutput readInConfinedChild(const std::filesystem::path& file, const std::vector<std::string>& program,
                                 const ReaderLimits& limits, const std::stop_token& stop);

} // namespace parlowen::service
