#include "Options.h"

#include "AccountOptions.h"
#include "AnswerOptions.h"
#include "ConfigFile.h"
#include "Pictures/QrCode.h"
#include "SpeechOptions.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/program_options.hpp>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <set>
#include <sstream>

namespace parlowen::service {

namespace {

namespace po = boost::program_options;
using Problem = std::optional<OptionProblem>;

constexpr const char* usualListen = "127.0.0.1:47615";

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

/// Without a word of it the captcha is at the next port, where applications look for it.
Problem parseCaptchaListen(const std::string& text, ServiceOptions& options) {
    constexpr std::uint16_t lastPort = 65'535;
    if (!text.empty()) {
        if (auto problem = readListen("captcha-listen", text, options.captchaAddress, options.captchaPort))
            return problem;
        const bool isTaken = options.captchaAddress == options.address && options.captchaPort == options.port;
        if (isTaken && options.port != 0 && options.loginByCode)
            return OptionProblem{"captcha-listen", text + " is where the service itself is (listen)"};
        return std::nullopt;
    }
    if (options.loginByCode && options.port == lastPort)
        return OptionProblem{"listen", "no port comes after 65535, where the captcha would be (--captcha-listen)"};
    options.captchaAddress = options.address;
    options.captchaPort = static_cast<std::uint16_t>(options.port == 0 ? 0 : options.port + 1);
    return std::nullopt;
}

Problem parseLoginMethod(const std::string& text, ServiceOptions& options) {
    options.loginByCode = text == "code";
    if (text == "code" || text == "password")
        return std::nullopt;
    return OptionProblem{"login-method", "takes password or code, not \"" + text + "\""};
}

bool isHostName(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return c < 0x80 && (std::isalnum(c) != 0 || c == '-' || c == '.');
    });
}

Problem checkServer(const ServiceOptions& options) {
    for (const std::string& host : options.hosts)
        if (!isHostName(host))
            return OptionProblem{"host", "\"" + host + "\" is no name of a host (letters, digits, \"-\" and \".\")"};
    boost::system::error_code invalid;
    for (const std::string& proxy : options.proxies)
        if (boost::asio::ip::make_address(proxy, invalid); invalid)
            return OptionProblem{"proxy", "\"" + proxy + "\" is no IP address"};
    try {
        if (!options.contact.empty())
            qrCode(options.contact);
    } catch (const std::runtime_error& tooLong) {
        return OptionProblem{"contact", tooLong.what()};
    }
    return std::nullopt;
}

Problem parseData(const std::string& text, ServiceOptions& options) {
    if (text.empty())
        return OptionProblem{"data", "takes a directory"};
    options.data = std::filesystem::absolute(text).lexically_normal();
    if (options.data.filename().empty()) // "dir/" names the same directory as "dir"
        options.data = options.data.parent_path();
    return std::nullopt;
}

/// What the options are stored in before they are checked.
struct RawOptions {
    std::string listen;
    std::string captchaListen;
    std::string loginMethod;
    std::string sessionDays;
    bool usuallyCreates = false;
    std::string speechPlaces;
    std::string codesPerAddress;
    std::string data;
    std::string config;
    std::string question;
    std::string resume;
    AccountOptions accounts;
    AnswerOptions answers;
    SpeechOptions speech;
};

/// Those of the server that the configuration file can hold, too; stored in `options`.
po::options_description serverDescription(ServiceOptions& options, RawOptions& raw) {
    constexpr unsigned lineLength = 110;
    po::options_description all("The server (also in the configuration file)", lineLength);
    const auto text = [](std::string& value, const char* name) { return po::value(&value)->value_name(name); };
    const auto number = [](std::string& value, int usual) {
        return po::value(&value)->value_name("NUMBER")->default_value(std::to_string(usual));
    };
    const auto list = [](std::vector<std::string>& values, const char* name) {
        return po::value(&values)->value_name(name)->composing();
    };
    // clang-format off
    all.add_options()
        ("listen", text(raw.listen, "ADDRESS:PORT")->default_value(usualListen),
         "where to listen; a loopback address, port 0 for any free one")
        ("login-method", text(raw.loginMethod, "METHOD")->default_value("password"),
         "how users sign in: password, or code (sent to the phone)")
        ("captcha-listen", text(raw.captchaListen, "ADDRESS:PORT"),
         "where the captcha's page is, in plain HTTP, when users sign in by code; by default at the port after that of "
         "--listen, where the application looks for it")
        ("sms-command", text(options.smsCommand, "COMMAND"),
         "sends a code: reads the number and the text, a line each, from standard input; without it codes are printed")
        ("codes-per-address", number(raw.codesPerAddress, options.codesPerAddress),
         "login codes that an address may ask for in an hour, beside numbers that signed in from it; captchas go along")
        ("create-accounts", po::bool_switch(&options.createAccounts),
         "the first sign-in of a number by password, from this machine, makes its account")
        ("contact", po::value(&options.contact)->value_name("TEXT"),
         "what the QR code for support says, such as an address; without a \"#\" in the file, where it begins a comment")
        ("session-days", number(raw.sessionDays, options.sessionDays),
         "days without a use, after which a sign-in is over")
        ("speech-places", number(raw.speechPlaces, options.speechPlaces),
         "connections for speech at the same time, a quarter of them for one user at most")
        ("host", list(options.hosts, "NAME"),
         "a name that the service may be asked for by, such as a reverse proxy's, beside the loopback ones; once for each")
        ("proxy", list(options.proxies, "ADDRESS"),
         "the address of a reverse proxy, whose X-Forwarded-For says who asks; once for each");
    // clang-format on
    return all;
}

/// The options of arguments alone; the simple ones are stored in `options`.
po::options_description description(ServiceOptions& options, RawOptions& raw) {
    constexpr unsigned lineLength = 110;
    po::options_description all("Options", lineLength);
    const auto text = [](std::string& value, const char* name) { return po::value(&value)->value_name(name); };
    // clang-format off
    all.add_options()
        ("data", text(raw.data, "DIR")->default_value(defaultDataDirectory().string()),
         "where accounts and certificates are kept")
        ("usually-create-accounts", po::bool_switch(&raw.usuallyCreates),
         "as --create-accounts, where the configuration file says nothing of it; for a unit of systemd")
        ("exit-with-stdin", po::bool_switch(&options.exitWithStdin), "end when standard input is closed")
        ("models", po::bool_switch(&options.models), "list the speech models: what is here, what can be fetched")
        ("get-model", text(options.getModel, "NAME"), "fetch a speech model of that list, or go on with it")
        ("mirror", text(options.mirror, "ADDRESS"), "where to fetch it from, instead of its makers' place")
        ("catalogue", po::value<std::string>()->value_name("FILE"),
         "list of models that can be fetched, instead of the built-in one")
        ("config", text(raw.config, "FILE"), "the configuration file, instead of the usual one")
        ("check-config", po::bool_switch(&options.checkConfig), "say what is wrong with it, and where")
        ("print-config", po::bool_switch(&options.printConfig), "print one with every option that it can hold")
        ("print-prompt", text(raw.question, "QUESTION"), "print what the language model would be sent for a question")
        ("resume", text(raw.resume, "FILE"), "with --print-prompt: a resume's text")
        ("check-answers", po::bool_switch(&options.checkAnswers), "ask the language model a question, with the times")
        ("help", po::bool_switch(&options.help), "show this text")
        ("version", po::bool_switch(&options.version), "show the version");
    // clang-format on
    return all;
}

/// What is set and does nothing beside the way that users sign in; empty: nothing is.
std::string idleOptions(const RawOptions& raw, const ServiceOptions& options) {
    if (options.loginByCode)
        return options.createAccounts ? "create-accounts does nothing: users sign in by code (login-method)" : "";
    const char* idle = !options.smsCommand.empty() ? "sms-command" : "captcha-listen";
    const bool isAny = !(options.smsCommand.empty() && raw.captchaListen.empty());
    return isAny ? std::string(idle) + " does nothing: users sign in by password (login-method)" : "";
}

/// What an operator may not have meant: what does nothing, and what is left out beside something else.
std::vector<std::string> remarksOn(const RawOptions& raw, const ServiceOptions& options) {
    std::vector<std::string> remarks;
    if (std::string idle = idleOptions(raw, options); !idle.empty())
        remarks.push_back(std::move(idle));
    if (options.loginByCode && options.smsCommand.empty())
        remarks.emplace_back("no code is sent to a phone without sms-command: codes go to standard output alone, which "
                             "under systemd is the journal");
    if (!options.hosts.empty() && options.proxies.empty())
        remarks.emplace_back("host without proxy: all who come through a reverse proxy count as one address, for the "
                             "limits too");
    return remarks;
}

Problem readNumbers(const RawOptions& raw, ServiceOptions& options) {
    auto problem = readWhole("session-days", raw.sessionDays, 1, 3'650, options.sessionDays);
    if (!problem)
        problem = readWhole("codes-per-address", raw.codesPerAddress, 1, 100'000, options.codesPerAddress);
    if (!problem)
        problem = readWhole("speech-places", raw.speechPlaces, 1, 400, options.speechPlaces);
    return problem;
}

/// One that only counts beside another, without it.
Problem loneOption(const ServiceOptions& options) {
    if (!options.resume.empty() && !options.printPrompt)
        return OptionProblem{"resume", "belongs to --print-prompt"};
    if (!options.mirror.empty() && options.getModel.empty())
        return OptionProblem{"mirror", "belongs to --get-model"};
    if (!options.catalogue.empty() && options.getModel.empty() && !options.models)
        return OptionProblem{"catalogue", "belongs to --models and --get-model"};
    return std::nullopt;
}

/// Takes in what the library cannot by itself; the problem is that of an option's name.
Problem check(const RawOptions& raw, ServiceOptions& options) {
    auto problem = readListen("listen", raw.listen, options.address, options.port);
    if (!problem)
        problem = parseLoginMethod(raw.loginMethod, options);
    if (!problem)
        problem = parseCaptchaListen(raw.captchaListen, options);
    if (!problem)
        problem = raw.accounts.apply(options.accounts);
    if (!problem)
        problem = readNumbers(raw, options);
    if (!problem)
        problem = checkServer(options);
    if (!problem)
        problem = loneOption(options);
    if (!problem)
        problem = raw.answers.apply(options.chat, options.chatLimits);
    if (!problem)
        problem = raw.speech.apply(options.transcription, options.region);
    options.remarks = remarksOn(raw, options);
    return problem ? problem : parseData(raw.data, options);
}

std::optional<std::string> parseAll(const std::vector<std::string>& arguments, ServiceOptions& options) {
    constexpr int style = po::command_line_style::allow_long | po::command_line_style::long_allow_next |
                          po::command_line_style::long_allow_adjacent;
    for (const std::string& argument : arguments)
        if (auto problem = problemOfMarks(argument))
            return problem;
    RawOptions raw;
    const auto answers = raw.answers.description();
    const auto speech = raw.speech.description();
    auto ofArguments = description(options, raw);
    ofArguments.add(raw.accounts.description());
    po::options_description inFiles;
    inFiles.add(serverDescription(options, raw)).add(answers).add(speech);
    po::options_description all;
    all.add(ofArguments).add(inFiles);
    po::variables_map values;
    po::store(po::command_line_parser(arguments).options(all).positional({}).style(style).run(), values);
    const bool isNamed = values.count("config") > 0;
    options.config = isNamed ? std::filesystem::path(values["config"].as<std::string>()) : defaultConfigFile();
    const auto isGiven = [&values](const std::string& name) {
        return values.count(name) > 0 && !values[name].defaulted();
    };
    std::set<std::string> given;
    for (const auto& option : inFiles.options())
        if (isGiven(option->long_name()))
            given.insert(option->long_name());
    std::error_code why;
    const auto kind = std::filesystem::status(options.config, why).type();
    if (kind == std::filesystem::file_type::none)
        return "the configuration file " + options.config.string() + " cannot be looked at: " + why.message() +
               (isNamed ? "" : "; its place follows HOME and XDG_CONFIG_HOME, --config names another");
    if (kind != std::filesystem::file_type::not_found) {
        if (auto problem = readConfigFile(options.config, inFiles, ofArguments, values))
            return problem;
    } else if (isNamed) {
        return "there is no file " + options.config.string();
    }
    po::notify(values);
    if (raw.usuallyCreates && values["create-accounts"].defaulted())
        options.createAccounts = raw.loginMethod != "code"; // where it would do nothing
    if (values.count("catalogue") > 0)
        options.catalogue = values["catalogue"].as<std::string>();
    if (values.count("print-prompt") > 0)
        options.printPrompt = raw.question;
    options.resume = raw.resume;
    if (values.count("get-model") > 0 && options.getModel.empty()) // or a server would start
        return "get-model: name the model (--models lists them)";
    if (const auto problem = check(raw, options)) {
        const std::string text = problem->option + ": " + problem->text;
        const int line = given.contains(problem->option) ? 0 : lineOf(options.config, problem->option);
        return line == 0 ? text : inFile(options.config, line, text);
    }
    return std::nullopt;
}

} // namespace

std::filesystem::path defaultDataDirectory() {
    const std::filesystem::path data = environment("XDG_DATA_HOME");
    if (data.is_absolute())
        return data / "parlowen-service";
    const std::filesystem::path home = environment("HOME");
    return (home.is_absolute() ? home : std::filesystem::current_path()) / ".local" / "share" / "parlowen-service";
}

std::filesystem::path defaultConfigFile() {
    const std::filesystem::path config = environment("XDG_CONFIG_HOME");
    const std::filesystem::path home = environment("HOME");
    const auto usual = (home.is_absolute() ? home : std::filesystem::current_path()) / ".config";
    return (config.is_absolute() ? config : usual) / "parlowen" / "service.conf";
}

tl::expected<ServiceOptions, std::string> parseOptions(const std::vector<std::string>& arguments) {
    ServiceOptions options;
    try {
        if (auto problem = parseAll(arguments, options))
            return tl::unexpected(*std::move(problem));
    } catch (const po::too_many_positional_options_error&) {
        return tl::unexpected(std::string("a word stands there without an option; a value with blanks needs quotes"));
    } catch (const po::error& problem) {
        return tl::unexpected(std::string(problem.what()) + "; see parlowen-service --help");
    }
    return options;
}

std::string usage() {
    ServiceOptions options;
    RawOptions raw;
    std::ostringstream text;
    text << "Usage: parlowen-service [options]\n\n"
            "The backend of Parlowen for this machine: HTTPS on the loopback interface.\n\n"
         << description(options, raw) << "\n"
         << raw.accounts.description() << "\n"
         << serverDescription(options, raw) << "\n"
         << raw.answers.description() << "\n"
         << raw.speech.description() << "\nThe configuration file is " << defaultConfigFile().string()
         << ".\nPrints \"listening on https://ADDRESS:PORT\" when it is ready; the log goes to standard error.\n"
            "SIGINT, SIGTERM and SIGHUP end it in order.\n"
            "Exit status: 0 ended as asked, 1 cannot start, 2 wrong options, 3 address in use, 4 data directory in "
            "use.\n";
    return text.str();
}

std::string checkedConfig(const ServiceOptions& options) {
    std::error_code unknown;
    const std::string file = options.config.string();
    std::string text = std::filesystem::exists(options.config, unknown)
                           ? "nothing is wrong with " + file + "\n"
                           : "there is no file " + file + ": every option is at its default\n";
    for (const std::string& remark : options.remarks)
        text += remark + "\n";
    return text;
}

std::string sampleConfig() {
    std::ostringstream text;
    text << "# The configuration of parlowen-service. A line is NAME = VALUE; arguments of the same names go before "
            "it.\n";
    ServiceOptions options;
    RawOptions raw;
    po::options_description all;
    all.add(serverDescription(options, raw)).add(raw.answers.description()).add(raw.speech.description());
    for (const auto& option : all.options()) {
        boost::any usual;
        option->semantic()->apply_default(usual);
        const std::string parameter = option->format_parameter(); // "NUMBER (=32)"
        const auto value = parameter.find("(=");
        text << "\n# " << option->description() << "\n#" << option->long_name() << " = ";
        if (value != std::string::npos)
            text << parameter.substr(value + 2, parameter.rfind(')') - value - 2);
        else if (!usual.empty())
            text << "false"; // a switch
        text << "\n";
    }
    return text.str();
}

} // namespace parlowen::service
