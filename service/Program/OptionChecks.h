#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace parlowen::service {

/// What is wrong with an option.
struct OptionProblem {
    std::string option; ///< its name
    std::string text;
};

/// Without the blanks around it.
std::string trimmed(const std::string& text);

/// For a value that has to lie between two others.
std::optional<OptionProblem> outOfRange(const std::string& option, double value, double least, double most);

/// A whole number that has to lie between two others.
std::optional<OptionProblem> readWhole(const std::string& option, const std::string& text, int least, int most,
                                       int& value);

/// Where to listen on this machine: "127.0.0.1:8443", "[::1]:0", "localhost:0".
std::optional<OptionProblem> readListen(const std::string& option, const std::string& text, std::string& address,
                                        std::uint16_t& port);

/// An address of HTTP that requests go below; slashes at its end are taken away. A key goes over https, or to this
/// machine, alone.
std::optional<OptionProblem> checkAddress(const std::string& option, std::string& address, bool withKey);

/// The key in the file or the environment variable that `NAME-key-file` and `NAME-key-environment` name; stays empty
/// where both are.
std::optional<OptionProblem> readKey(const std::string& name, const std::string& file, const std::string& environment,
                                     std::string& key);

/// Codes of languages, or locales, that commas part.
std::optional<OptionProblem> readCodes(const std::string& option, const std::string& list,
                                       std::vector<std::string>& codes);

} // namespace parlowen::service
