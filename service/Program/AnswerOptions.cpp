#include "AnswerOptions.h"

#include "Http/PrivateFiles.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/url/parse.hpp>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <system_error>

namespace parlowen::service {

namespace {

namespace po = boost::program_options;
using Problem = std::optional<OptionProblem>;

constexpr std::size_t longestKey = 4'096;
constexpr unsigned lineLength = 110;

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

bool isLoopback(const std::string& host) {
    boost::system::error_code none;
    const auto address = boost::asio::ip::make_address(host, none);
    return host == "localhost" || (!none && address.is_loopback());
}

Problem checkUrl(const std::string& url, bool withKey) {
    const auto parsed = boost::urls::parse_uri(url);
    if (!parsed || parsed->host().empty() || (parsed->scheme() != "http" && parsed->scheme() != "https"))
        return OptionProblem{"answers-url", "\"" + url + "\" is no address of HTTP, such as http://127.0.0.1:8080/v1"};
    if (parsed->has_userinfo() || parsed->has_query() || parsed->has_fragment())
        return OptionProblem{"answers-url", "a user, a query or a fragment cannot be part of the address"};
    if (withKey && parsed->scheme() == "http" && !isLoopback(std::string(parsed->host_address())))
        return OptionProblem{"answers-url", "a key is sent over https, or to this machine, alone"};
    return std::nullopt;
}

Problem readKey(const std::string& file, std::string& key) {
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0 && (status.st_mode & 077) != 0)
        return OptionProblem{"answers-key-file", file + " is open to other users; run: chmod 600 " + file};
    try {
        const auto contents = readPrivateFile(file, longestKey);
        key = contents ? trimmed(*contents) : std::string();
    } catch (const std::system_error& problem) {
        return OptionProblem{"answers-key-file", problem.what()};
    }
    if (key.empty() || key.find_first_of("\r\n") != std::string::npos)
        return OptionProblem{"answers-key-file", file + " does not hold one key in one line"};
    return std::nullopt;
}

Problem readTargets(const std::string& list, std::vector<std::string>& targets) {
    std::istringstream parts(list);
    for (std::string part; std::getline(parts, part, ',');) {
        const std::string code = trimmed(part);
        const bool isCode = !code.empty() && std::all_of(code.begin(), code.end(), [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '-';
        });
        if (!isCode)
            return OptionProblem{"answers-translate-to", "\"" + part + "\" is no code of a language, such as zh-Hans"};
        targets.push_back(code);
    }
    return std::nullopt;
}

Problem outOfRange(const char* option, double value, double least, double most) {
    if (value >= least && value <= most)
        return std::nullopt;
    std::ostringstream text;
    text << value << " is not from " << least << " to " << most;
    return OptionProblem{option, text.str()};
}

} // namespace

po::options_description AnswerOptions::description() {
    po::options_description all("Answers by a language model (also in the configuration file)", lineLength);
    const auto text = [](std::string& value, const char* name) { return po::value(&value)->value_name(name); };
    const auto number = [](auto& value, auto usual) {
        return po::value(&value)->value_name("NUMBER")->default_value(usual);
    };
    const ChatEndpoint usual;
    const ChatAnswers::Limits limits;
    const auto seconds = [](std::chrono::milliseconds time) { return static_cast<int>(time.count() / 1'000); };
    // clang-format off
    all.add_options()
        ("answers-url", text(url, "ADDRESS"),
         "where a language model speaks the OpenAI chat-completions protocol, such as http://127.0.0.1:8080/v1; "
         "without it answers are outlines")
        ("answers-model", text(model, "NAME"), "the model's name there")
        ("answers-key-file", text(keyFile, "FILE"), "a file of mode 0600 that holds the key, where one is needed")
        ("answers-key-environment", text(keyEnvironment, "NAME"), "or the environment variable that holds it")
        ("answers-temperature", number(temperature, usual.temperature), "0 to 2; the higher, the freer")
        ("answers-tokens", number(tokens, usual.mostTokens), "the most tokens of an answer")
        ("answers-connect-seconds", number(connectSeconds, seconds(usual.connect)), "to connect in")
        ("answers-first-piece-seconds", number(firstPieceSeconds, seconds(usual.firstPiece)),
         "until the first piece of an answer; an outline takes its place then")
        ("answers-stall-seconds", number(stallSeconds, seconds(usual.stall)), "without a piece, after which an answer ends")
        ("answers-at-once", number(atOnce, limits.atOnce), "answers at the same time; one more is refused")
        ("answers-at-once-per-account", number(atOnceOfAccount, limits.atOnceOfAccount), "the same for one account")
        ("answers-translate-to", po::value(&translateTo)->value_name("CODES")->default_value("zh-Hans,en"),
         "languages that the model translates finished sentences into, where nothing here does; none when empty");
    // clang-format on
    return all;
}

Problem AnswerOptions::apply(ChatEndpoint& endpoint, ChatAnswers::Limits& limits) const {
    constexpr int longest = 600; // seconds
    const std::tuple<const char*, double, double, double> ranges[] = {
        {"answers-temperature", temperature, 0, 2},
        {"answers-tokens", tokens, 16, 100'000},
        {"answers-connect-seconds", connectSeconds, 1, longest},
        {"answers-first-piece-seconds", firstPieceSeconds, 1, longest},
        {"answers-stall-seconds", stallSeconds, 1, longest},
        {"answers-at-once", atOnce, 1, 10'000},
        {"answers-at-once-per-account", atOnceOfAccount, 1, 10'000},
    };
    for (const auto& [option, value, least, most] : ranges)
        if (auto problem = outOfRange(option, value, least, most))
            return problem;
    endpoint = {url,
                {},
                model,
                temperature,
                tokens,
                std::chrono::seconds(connectSeconds),
                std::chrono::seconds(firstPieceSeconds),
                std::chrono::seconds(stallSeconds),
                {}};
    if (auto problem = readTargets(translateTo, endpoint.translateTo))
        return problem;
    limits.atOnce = atOnce;
    limits.atOnceOfAccount = atOnceOfAccount;
    if (!keyFile.empty())
        if (auto problem = readKey(keyFile, endpoint.key))
            return problem;
    if (!keyEnvironment.empty()) {
        const char* key = std::getenv(keyEnvironment.c_str());
        endpoint.key = key == nullptr ? std::string() : trimmed(key);
        if (endpoint.key.empty())
            return OptionProblem{"answers-key-environment", "there is no variable " + keyEnvironment};
    }
    if (url.empty())
        return std::nullopt;
    if (model.empty())
        return OptionProblem{"answers-url", "answers-model is missing"};
    while (endpoint.url.ends_with('/'))
        endpoint.url.pop_back();
    return checkUrl(endpoint.url, !endpoint.key.empty());
}

int lineOf(const std::filesystem::path& file, const std::string& optionOrLine) {
    std::ifstream lines(file);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        line = trimmed(line.substr(0, line.find('#')));
        if (line == optionOrLine || trimmed(line.substr(0, line.find('='))) == optionOrLine)
            return number;
    }
    return 0;
}

} // namespace parlowen::service
