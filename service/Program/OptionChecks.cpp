#include "OptionChecks.h"

#include "Http/PrivateFiles.h"
#include "Process/ChildProcess.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/url/parse.hpp>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <sys/stat.h>
#include <system_error>

namespace parlowen::service {

namespace {

using Problem = std::optional<OptionProblem>;

constexpr std::size_t longestKey = 4'096;

bool isLoopback(const std::string& host) {
    boost::system::error_code none;
    const auto address = boost::asio::ip::make_address(host, none);
    return host == "localhost" || (!none && address.is_loopback());
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (problem != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return port;
}

Problem readKeyFile(const std::string& option, const std::string& file, std::string& key) {
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0 && (status.st_mode & 077) != 0)
        return OptionProblem{option, file + " is open to other users; run: chmod 600 " + file};
    try {
        const auto contents = readPrivateFile(file, longestKey);
        if (!contents)
            return OptionProblem{option, "there is no file " + file};
        key = trimmed(*contents);
    } catch (const std::system_error& problem) {
        return OptionProblem{option, problem.what()};
    }
    if (key.empty() || key.find_first_of("\r\n") != std::string::npos)
        return OptionProblem{option, file + " does not hold one key in one line"};
    return std::nullopt;
}

} // namespace

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

Problem outOfRange(const std::string& option, double value, double least, double most) {
    if (value >= least && value <= most)
        return std::nullopt;
    std::ostringstream text;
    text.precision(std::numeric_limits<double>::digits10); // 1000000, not 1e+06
    text << value << " is not from " << least << " to " << most;
    return OptionProblem{option, text.str()};
}

std::optional<OptionProblem> readWhole(const std::string& option, const std::string& text, int least, int most,
                                       int& value) {
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (problem == std::errc() && end == text.data() + text.size() && value >= least && value <= most)
        return std::nullopt;
    return OptionProblem{option, text + " is not from " + std::to_string(least) + " to " + std::to_string(most)};
}

Problem readListen(const std::string& option, const std::string& text, std::string& address, std::uint16_t& port) {
    const auto colon = text.rfind(':');
    const auto parsed = colon == std::string::npos ? std::nullopt : parsePort(std::string_view(text).substr(colon + 1));
    if (!parsed)
        return OptionProblem{option, "takes ADDRESS:PORT, not \"" + text + "\""};
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    if (host == "localhost")
        host = "127.0.0.1";
    boost::system::error_code invalid;
    const auto parsedHost = boost::asio::ip::make_address(host, invalid);
    if (invalid)
        return OptionProblem{option, "\"" + host + "\" is neither an IP address nor localhost"};
    if (!parsedHost.is_loopback())
        return OptionProblem{option, host + " is no loopback address: the service serves this machine alone; a reverse "
                                            "proxy brings it to others (--proxy, --host)"};
    address = parsedHost.to_string();
    port = *parsed;
    return std::nullopt;
}

Problem checkAddress(const std::string& option, std::string& address, bool withKey) {
    while (address.ends_with('/'))
        address.pop_back();
    const auto parsed = boost::urls::parse_uri(address);
    if (!parsed || parsed->host().empty() || (parsed->scheme() != "http" && parsed->scheme() != "https"))
        return OptionProblem{option, "\"" + address + "\" is no address of HTTP, such as http://127.0.0.1:8080/v1"};
    if (parsed->has_userinfo() || parsed->has_query() || parsed->has_fragment())
        return OptionProblem{option, "a user, a query or a fragment cannot be part of the address"};
    if (withKey && parsed->scheme() == "http" && !isLoopback(std::string(parsed->host_address())))
        return OptionProblem{option, "a key is sent over https, or to this machine, alone"};
    return std::nullopt;
}

Problem readKey(const std::string& name, const std::string& file, const std::string& environment, std::string& key) {
    if (!file.empty())
        if (auto problem = readKeyFile(name + "-key-file", file, key))
            return problem;
    if (environment.empty())
        return std::nullopt;
    withholdFromChildren(environment);
    const char* value = std::getenv(environment.c_str());
    key = value == nullptr ? std::string() : trimmed(value);
    if (key.empty())
        return OptionProblem{name + "-key-environment", "there is no variable " + environment};
    return std::nullopt;
}

Problem readCodes(const std::string& option, const std::string& list, std::vector<std::string>& codes) {
    std::istringstream parts(list);
    for (std::string part; std::getline(parts, part, ',');) {
        const std::string code = trimmed(part);
        const bool isCode = !code.empty() && std::all_of(code.begin(), code.end(), [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '-';
        });
        if (!isCode)
            return OptionProblem{option, "\"" + part + "\" is no code of a language, such as zh-Hans"};
        codes.push_back(code);
    }
    return std::nullopt;
}

} // namespace parlowen::service
