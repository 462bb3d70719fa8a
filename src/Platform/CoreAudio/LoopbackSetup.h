#pragma once

#include <QString>
#include <optional>
#include <string>

namespace parlowen {

/// Adds a sink without hardware, 48 kHz and stereo, to the running audio server (an empty address means the session's
/// own); it stays until the server ends. Neither text may hold quotes, and the name no blank. Returns none, or an error
/// text in English, after six seconds at most.
std::optional<QString> createNullSink(const std::string& name, const std::string& description,
                                      const std::string& address = {});

} // namespace parlowen
