#include "AnswerOptions.h"

#include <boost/program_options/value_semantic.hpp>
#include <sstream>

namespace parlowen::service {

namespace {

namespace po = boost::program_options;
using Problem = std::optional<OptionProblem>;

constexpr unsigned lineLength = 110;

} // namespace

po::options_description AnswerOptions::description() {
    po::options_description all("Answers by a language model (also in the configuration file)", lineLength);
    const auto text = [](std::string& value, const char* name) { return po::value(&value)->value_name(name); };
    const auto number = [](auto& value, auto usual) {
        std::ostringstream shown; // six digits of a fraction, not its last bit
        shown << usual;
        return po::value(&value)->value_name("NUMBER")->default_value(usual, shown.str());
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
        ("answers-at-once", number(atOnce, static_cast<int>(limits.atOnce)), "answers at the same time; one more is refused")
        ("answers-at-once-per-account", number(atOnceOfAccount, static_cast<int>(limits.atOnceOfAccount)), "the same for one account")
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
    if (auto problem = readCodes("answers-translate-to", translateTo, endpoint.translateTo))
        return problem;
    limits.atOnce = static_cast<std::size_t>(atOnce);
    limits.atOnceOfAccount = static_cast<std::size_t>(atOnceOfAccount);
    if (auto problem = readKey("answers", keyFile, keyEnvironment, endpoint.key))
        return problem;
    if (url.empty())
        return std::nullopt;
    if (auto problem = checkAddress("answers-url", endpoint.url, !endpoint.key.empty()))
        return problem;
    return model.empty() ? Problem(OptionProblem{"answers-url", "answers-model is missing"}) : std::nullopt;
}

} // namespace parlowen::service
