#include "Options.h"

#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <cstdlib>
#include <optional>

namespace parlowen::service {

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (problem != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return port;
}

/// "127.0.0.1:8443", "[::1]:0", "localhost:0"; an error text, or none.
std::optional<std::string> parseListen(const std::string& text, ServiceOptions& options) {
    const auto colon = text.rfind(':');
    const auto port = colon == std::string::npos ? std::nullopt : parsePort(std::string_view(text).substr(colon + 1));
    if (!port)
        return "--listen takes ADDRESS:PORT, not \"" + text + "\"";
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    if (host == "localhost")
        host = "127.0.0.1";
    boost::system::error_code invalid;
    const auto address = boost::asio::ip::make_address(host, invalid);
    if (invalid)
        return "\"" + host + "\" is no IP address";
    if (!address.is_loopback())
        return host + " is no loopback address: whoever reaches the service may make an account, so it serves this "
                      "machine alone";
    options.address = host;
    options.port = *port;
    return std::nullopt;
}

std::optional<std::string> parseData(const std::string& text, ServiceOptions& options) {
    if (text.empty())
        return "--data takes a directory";
    options.data = std::filesystem::absolute(text).lexically_normal();
    if (options.data.filename().empty()) // "dir/" names the same directory as "dir"
        options.data = options.data.parent_path();
    return std::nullopt;
}

/// Where the value of an option that is plain text goes; null for all others.
std::string* textOption(const std::string& argument, ServiceOptions& options) {
    return argument == "--get-model" ? &options.getModel : argument == "--mirror" ? &options.mirror : nullptr;
}

} // namespace

std::filesystem::path defaultDataDirectory() {
    const std::filesystem::path data = environment("XDG_DATA_HOME");
    if (data.is_absolute())
        return data / "parlowen-service";
    const std::filesystem::path home = environment("HOME");
    return (home.is_absolute() ? home : std::filesystem::current_path()) / ".local" / "share" / "parlowen-service";
}

std::variant<ServiceOptions, std::string> parseOptions(const std::vector<std::string>& arguments) {
    ServiceOptions options;
    options.data = defaultDataDirectory();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const bool takesValue = argument == "--listen" || argument == "--data" || argument == "--catalogue" ||
                                textOption(argument, options);
        if (takesValue && i + 1 == arguments.size())
            return argument + " needs a value";
        if (argument == "--help")
            options.help = true;
        else if (argument == "--version")
            options.version = true;
        else if (argument == "--exit-with-stdin")
            options.exitWithStdin = true;
        else if (argument == "--models")
            options.models = true;
        else if (!takesValue)
            return "unknown option \"" + argument + "\"";
        if (!takesValue)
            continue;
        const std::string& value = arguments[++i];
        if (auto* text = textOption(argument, options))
            *text = value;
        else if (argument == "--catalogue")
            options.catalogue = value;
        else if (auto problem = argument == "--listen" ? parseListen(value, options) : parseData(value, options))
            return *problem;
    }
    return options;
}

std::string usage() {
    return "Usage: parlowen-service [options]\n"
           "\n"
           "The backend of Parlowen for this machine: HTTPS on the loopback interface.\n"
           "\n"
           "  --listen ADDRESS:PORT  where to listen; a loopback address, port 0 for any free one\n"
           "                         (default 127.0.0.1:47615)\n"
           "  --data DIR             where accounts and certificates are kept\n"
           "                         (default " +
           defaultDataDirectory().string() +
           ")\n"
           "  --exit-with-stdin      end when standard input is closed\n"
           "  --models               list the speech models: what is here, what can be fetched\n"
           "  --get-model NAME       fetch a speech model of that list, or go on with it\n"
           "  --mirror ADDRESS       where to fetch it from, instead of its makers' place\n"
           "  --catalogue FILE       list of models that can be fetched, instead of the built-in one\n"
           "  --help                 show this text\n"
           "  --version              show the version\n"
           "\n"
           "Prints \"listening on https://ADDRESS:PORT\" when it is ready; the log goes to standard error.\n"
           "Exit status: 0 ended as asked, 1 cannot start, 2 wrong options, 3 address in use.\n";
}

} // namespace parlowen::service
