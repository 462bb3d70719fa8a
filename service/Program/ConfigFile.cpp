#include "ConfigFile.h"

#include "OptionChecks.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/program_options.hpp>
#include <fstream>

namespace parlowen::service {

namespace {

namespace po = boost::program_options;

/// What the library does not see. A "#" in mid-word is most often meant as a part of it, such as of an address, which
/// would be cut short there.
std::optional<std::string> problemOfText(const std::filesystem::path& file) {
    std::ifstream lines(file);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        if (++number == 1 && line.starts_with("\xef\xbb\xbf"))
            return inFile(file, 1, "a byte order mark stands at its beginning; store the file without one");
        const std::string before = line.substr(0, line.find('#'));
        if (before.size() < line.size() && !before.empty() && before.find_last_of(" \t") != before.size() - 1)
            return inFile(file, number,
                          "\"#\" begins a comment, and cannot be part of a value; a comment needs a blank before it");
    }
    return std::nullopt;
}

/// The switch that is set to nothing, which the library takes for "yes"; empty: none is.
std::string emptySwitch(const po::parsed_options& parsed, const po::options_description& known) {
    for (const auto& option : parsed.options) {
        const auto semantic = known.find(option.string_key, false).semantic();
        const bool isSwitch = dynamic_cast<const po::typed_value<bool>*>(semantic.get()) != nullptr;
        if (isSwitch && !option.value.empty() && trimmed(option.value.front()).empty())
            return option.string_key;
    }
    return {};
}

std::string unknownOption(const std::string& name, const po::options_description& ofArguments) {
    if (name.find('.') != std::string::npos)
        return "there is no option " + name + "; the file has no sections";
    return ofArguments.find_nothrow(name, false) != nullptr ? name + " is an option of the command line alone"
                                                            : "there is no option " + name;
}

} // namespace

int lineOf(const std::filesystem::path& file, const std::string& optionOrLine, int occurrence) {
    std::ifstream lines(file);
    std::string section;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        line = trimmed(line.substr(0, line.find('#')));
        if (line.starts_with('[') && line.ends_with(']'))
            section = line.substr(1, line.size() - 2) + ".";
        const bool isIt = line == optionOrLine || section + trimmed(line.substr(0, line.find('='))) == optionOrLine;
        if (isIt && --occurrence == 0)
            return number;
    }
    return 0;
}

std::string inFile(const std::filesystem::path& file, int line, const std::string& text) {
    return file.string() + ":" + std::to_string(line) + ": " + text;
}

std::optional<std::string> problemOfMarks(std::string_view text) {
    // The library's reasons have such marks, and one that is put in its own place is put there again without end. In
    // any case: it puts some values in small letters.
    for (const char* mark :
         {"%option%", "%canonical_option%", "%original_token%", "%prefix%", "%value%", "%invalid_line%"})
        if (boost::algorithm::icontains(text, mark))
            return std::string(mark) + " cannot stand in an option";
    return std::nullopt;
}

std::optional<std::string> readConfigFile(const std::filesystem::path& file, const po::options_description& known,
                                          const po::options_description& ofArguments, po::variables_map& values) {
    std::ifstream stream(file);
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored) || (!stream && std::filesystem::exists(file, ignored)))
        return file.string() + " cannot be read";
    const auto at = [&file](const std::string& name, const std::string& text, int occurrence = 1) {
        return inFile(file, lineOf(file, name, occurrence), text);
    };
    if (auto problem = problemOfText(file))
        return problem;
    try {
        const auto parsed = po::parse_config_file(stream, known);
        for (const auto& option : parsed.options)
            for (const std::string& value : option.value)
                if (const auto problem = problemOfMarks(value))
                    return at(option.string_key, *problem);
        if (const std::string name = emptySwitch(parsed, known); !name.empty())
            return at(name, name + ": takes yes or no");
        po::store(parsed, values);
    } catch (const po::unknown_option& problem) {
        return at(problem.get_option_name(), unknownOption(problem.get_option_name(), ofArguments));
    } catch (const po::invalid_config_file_syntax& problem) {
        return at(problem.tokens(), "\"" + problem.tokens() + "\" is not NAME = VALUE");
    } catch (const po::error_with_option_name& problem) {
        const std::string name = problem.get_option_name();
        const bool isRepeated = dynamic_cast<const po::multiple_occurrences*>(&problem) != nullptr;
        return at(name.substr(std::min(name.find_first_not_of('-'), name.size())), problem.what(), isRepeated ? 2 : 1);
    }
    return std::nullopt;
}

} // namespace parlowen::service
