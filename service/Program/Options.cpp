#include "Options.h"

#include <boost/asio/ip/address.hpp>
#include <boost/program_options.hpp>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <sstream>

namespace parlowen::service {

namespace {

namespace po = boost::program_options;

constexpr const char* usualListen = "127.0.0.1:47615";
constexpr const char* usualCaptchaListen = "127.0.0.1:47616";

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
std::optional<std::string> parseListen(const char* option, const std::string& text, std::string& address,
                                       std::uint16_t& port) {
    const auto colon = text.rfind(':');
    const auto parsed = colon == std::string::npos ? std::nullopt : parsePort(std::string_view(text).substr(colon + 1));
    if (!parsed)
        return std::string(option) + " takes ADDRESS:PORT, not \"" + text + "\"";
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    if (host == "localhost")
        host = "127.0.0.1";
    boost::system::error_code invalid;
    const auto parsedHost = boost::asio::ip::make_address(host, invalid);
    if (invalid)
        return "\"" + host + "\" is no IP address";
    if (!parsedHost.is_loopback())
        return host + " is no loopback address: whoever reaches the service may make an account, so it serves this "
                      "machine alone";
    address = host;
    port = *parsed;
    return std::nullopt;
}

std::optional<std::string> parseLoginMethod(const std::string& text, ServiceOptions& options) {
    options.loginByCode = text == "code";
    if (text == "code" || text == "password")
        return std::nullopt;
    return "--login-method takes password or code, not \"" + text + "\"";
}

std::optional<std::string> parseData(const std::string& text, ServiceOptions& options) {
    if (text.empty())
        return "--data takes a directory";
    options.data = std::filesystem::absolute(text).lexically_normal();
    if (options.data.filename().empty()) // "dir/" names the same directory as "dir"
        options.data = options.data.parent_path();
    return std::nullopt;
}

/// Options that are checked before they count.
struct UncheckedOptions {
    std::string listen;
    std::string captchaListen;
    std::string data;
    std::string loginMethod;
};

/// All options, their values stored in `options`; those that are checked in `unchecked`.
po::options_description description(ServiceOptions& options, UncheckedOptions& unchecked) {
    constexpr unsigned lineLength = 110;
    po::options_description all("Options", lineLength);
    const auto text = [](std::string& value, const char* name) { return po::value(&value)->value_name(name); };
    // clang-format off
    all.add_options()
        ("listen", text(unchecked.listen, "ADDRESS:PORT")->default_value(usualListen),
         "where to listen; a loopback address, port 0 for any free one")
        ("data", text(unchecked.data, "DIR")->default_value(defaultDataDirectory().string()),
         "where accounts and certificates are kept")
        ("exit-with-stdin", po::bool_switch(&options.exitWithStdin), "end when standard input is closed")
        ("login-method", text(unchecked.loginMethod, "METHOD")->default_value("password"),
         "how users sign in: password, or code (sent to the phone)")
        ("captcha-listen", text(unchecked.captchaListen, "ADDRESS:PORT")->default_value(usualCaptchaListen),
         "where the captcha's page is, in plain HTTP, when users sign in by code")
        ("sms-command", text(options.smsCommand, "COMMAND"),
         "sends a code: reads the number and the text, a line each, from standard input; without it codes are printed")
        ("contact", text(options.contact, "TEXT"), "what the QR code for support says, such as an address")
        ("models", po::bool_switch(&options.models), "list the speech models: what is here, what can be fetched")
        ("get-model", text(options.getModel, "NAME"), "fetch a speech model of that list, or go on with it")
        ("mirror", text(options.mirror, "ADDRESS"), "where to fetch it from, instead of its makers' place")
        ("catalogue", po::value<std::string>()->value_name("FILE"),
         "list of models that can be fetched, instead of the built-in one")
        ("help", po::bool_switch(&options.help), "show this text")
        ("version", po::bool_switch(&options.version), "show the version");
    // clang-format on
    return all;
}

} // namespace

std::filesystem::path defaultDataDirectory() {
    const std::filesystem::path data = environment("XDG_DATA_HOME");
    if (data.is_absolute())
        return data / "parlowen-service";
    const std::filesystem::path home = environment("HOME");
    return (home.is_absolute() ? home : std::filesystem::current_path()) / ".local" / "share" / "parlowen-service";
}

tl::expected<ServiceOptions, std::string> parseOptions(const std::vector<std::string>& arguments) {
    ServiceOptions options;
    UncheckedOptions unchecked;
    try {
        constexpr int style = po::command_line_style::allow_long | po::command_line_style::long_allow_next |
                              po::command_line_style::long_allow_adjacent;
        const auto all = description(options, unchecked);
        po::variables_map values;
        po::store(po::command_line_parser(arguments).options(all).positional({}).style(style).run(), values);
        po::notify(values);
        if (values.count("catalogue") > 0)
            options.catalogue = values["catalogue"].as<std::string>();
    } catch (const po::error& problem) {
        return tl::unexpected(std::string(problem.what()));
    }
    auto problem = parseListen("--listen", unchecked.listen, options.address, options.port);
    if (!problem)
        problem = parseListen("--captcha-listen", unchecked.captchaListen, options.captchaAddress, options.captchaPort);
    if (!problem)
        problem = parseLoginMethod(unchecked.loginMethod, options);
    if (!problem)
        problem = parseData(unchecked.data, options);
    if (problem)
        return tl::unexpected(*std::move(problem));
    return options;
}

std::string usage() {
    ServiceOptions options;
    UncheckedOptions unchecked;
    std::ostringstream text;
    text << "Usage: parlowen-service [options]\n\n"
            "The backend of Parlowen for this machine: HTTPS on the loopback interface.\n\n"
         << description(options, unchecked)
         << "\nPrints \"listening on https://ADDRESS:PORT\" when it is ready; the log goes to standard error.\n"
            "Exit status: 0 ended as asked, 1 cannot start, 2 wrong options, 3 address in use.\n";
    return text.str();
}

} // namespace parlowen::service
