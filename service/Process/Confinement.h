#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

namespace parlowen::service {

/// What this process, and a program that it becomes, may use from now on.
struct Confinement {
    int cpuSeconds = 20;
    std::size_t memoryBytes = std::size_t{1'024} * 1'024 * 1'024; ///< of address space
    std::vector<std::filesystem::path> readable = {};             ///< beside the system's programs and libraries
};

/// Confines this process for good: it writes no file, reads those of the system and the named ones alone, starts no
/// process, opens no connection and leaves its process group no more; and its memory and time are bounded. File access
/// (Landlock) and system calls (seccomp) only as far as the kernel can. Throws std::runtime_error when a limit cannot
/// be set.
void confine(const Confinement& confinement);

} // namespace parlowen::service
