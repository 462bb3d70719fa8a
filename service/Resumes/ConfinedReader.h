#pragma once

#include <string>
#include <vector>

namespace parlowen::service {

/// The first argument by which this program becomes a confined reader of one file.
inline constexpr const char* confinedReaderOption = "--read-confined";

/// How a confined reader ends, beside 0 and what its program ends with.
enum class ReaderExit { Damaged = 101, WrongType = 102, TooLarge = 103, CannotStart = 104 };

/// Reads a file that nobody vouches for and writes its text to standard output, confined (see Confinement.h). Takes the
/// file, then a program's path with its arguments, which it becomes, or nothing more for a Word document of its own
/// reading. Returns the exit status.
int readConfined(const std::vector<std::string>& arguments);

} // namespace parlowen::service
