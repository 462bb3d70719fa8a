#pragma once

/// The device through which what the computer plays is heard. It is in the program's own list of devices where there is
/// an audio server, and stands for the monitor of an output.
namespace parlowen::loopbackDevice {

inline constexpr const char* name = "vorlanOutput 2ch";
inline constexpr const char* uid = "vorlanOutput2ch_UID";

} // namespace parlowen::loopbackDevice
