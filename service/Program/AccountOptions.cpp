#include "AccountOptions.h"

#include <boost/program_options/value_semantic.hpp>

namespace parlowen::service {

namespace {

namespace po = boost::program_options;

/// "+86 13800000000".
std::optional<PhoneNumber> numberIn(const std::string& text) {
    const auto blank = text.find(' ');
    if (!text.starts_with('+') || blank == std::string::npos)
        return std::nullopt;
    return PhoneNumber{text.substr(1, blank - 1), text.substr(blank + 1)};
}

AccountCommand::What whatOf(const std::string& option) {
    using What = AccountCommand::What;
    if (option == "set-password")
        return What::SetPassword;
    if (option == "delete-account")
        return What::Delete;
    return option == "end-sign-ins" ? What::EndSignIns : What::List;
}

} // namespace

po::options_description AccountOptions::description() {
    constexpr unsigned lineLength = 110;
    po::options_description all("Accounts, whether the service runs or not", lineLength);
    const auto value = [this](const char* option, const char* name) {
        return po::value<std::string>()->value_name(name)->notifier(
            [this, option](const std::string& text) { given.emplace_back(option, text); });
    };
    const auto list = [this](bool isOn) {
        if (isOn)
            given.emplace_back("list-accounts", "");
    };
    // clang-format off
    all.add_options()
        ("list-accounts", po::bool_switch()->notifier(list),
         "list them: the number, when it was made, its last sign-in, how many sign-ins are open, whether it has a resume")
        ("set-password", value("set-password", "NUMBER"),
         "give a number, such as \"+86 13800000000\", its password, which is read from standard input; makes its account "
         "where it has none, ends its sign-ins where it has")
        ("delete-account", value("delete-account", "NUMBER"), "delete an account with all that is kept of it")
        ("end-sign-ins", value("end-sign-ins", "NUMBER|all"), "end the sign-ins of an account, or of all of them");
    // clang-format on
    return all;
}

std::optional<OptionProblem> AccountOptions::apply(std::optional<AccountCommand>& command) const {
    if (given.empty())
        return std::nullopt;
    const auto& [option, text] = given.front();
    if (given.size() > 1)
        return OptionProblem{option, "does not go with --" + given[1].first};
    command = AccountCommand{whatOf(option), numberIn(text)};
    const bool isForAll = command->what == AccountCommand::What::List ||
                          (command->what == AccountCommand::What::EndSignIns && text == "all");
    if (command->number || isForAll)
        return std::nullopt;
    return OptionProblem{option, "takes a number such as \"+86 13800000000\", not \"" + text + "\""};
}

} // namespace parlowen::service
