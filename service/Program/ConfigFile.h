#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace boost::program_options {
class options_description;
class variables_map;
} // namespace boost::program_options

namespace parlowen::service {

/// The number of the line of a configuration file that sets an option ("SECTION.NAME" below a "[SECTION]"), or that is
/// this text: the first such line, or a later one; 0 for none.
int lineOf(const std::filesystem::path& file, const std::string& optionOrLine, int occurrence = 1);

/// "FILE:LINE: TEXT".
std::string inFile(const std::filesystem::path& file, int line, const std::string& text);

/// What no name or value may hold, since the option library would expand it without end; none when there is nothing.
std::optional<std::string> problemOfMarks(std::string_view text);

/// Stores the `known` options that the file sets and `values` does not have yet; gives what is wrong with it, with file
/// and line, or none. `ofArguments` are those that are known elsewhere.
std::optional<std::string> readConfigFile(const std::filesystem::path& file,
                                          const boost::program_options::options_description& known,
                                          const boost::program_options::options_description& ofArguments,
                                          boost::program_options::variables_map& values);

} // namespace parlowen::service
