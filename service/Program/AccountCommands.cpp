#include "AccountCommands.h"

#include "Accounts/Accounts.h"
#include "Http/Log.h"
#include "Http/PrivateFiles.h"
#include "Http/Wording.h"

#include <algorithm>
#include <istream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <termios.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

/// Keeps a terminal from showing what is typed, while it exists.
class Hidden {
public:
    Hidden() {
        if (::tcgetattr(STDIN_FILENO, &before_) != 0)
            return;
        isTerminal_ = true;
        termios hiding = before_;
        hiding.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &hiding);
    }
    ~Hidden() {
        if (isTerminal_)
            ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    }
    Hidden(const Hidden&) = delete;
    Hidden& operator=(const Hidden&) = delete;
    bool isTerminal() const { return isTerminal_; }

private:
    termios before_{};
    bool isTerminal_ = false;
};

std::string readPassword(std::istream& input, std::ostream& output) {
    const Hidden hidden;
    if (hidden.isTerminal())
        output << "Password: " << std::flush;
    std::string password;
    std::getline(input, password);
    if (hidden.isTerminal())
        output << "\n";
    if (password.ends_with('\r')) // of a line that ends as on other systems
        password.pop_back();
    if (std::any_of(password.begin(), password.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }))
        throw std::runtime_error("the password holds a control character, such as a tab, which cannot be typed where "
                                 "users sign in; nothing was changed");
    return password;
}

[[noreturn]] void refuse(const Refused& refused) {
    throw std::runtime_error(inEnglish(refused.message).value_or(refused.message));
}

std::string setPassword(Accounts& accounts, const PhoneNumber& phone, const std::string& password) {
    const auto made = accounts.setPassword({phone.countryCode, phone.number, password});
    if (!made)
        refuse(made.error());
    return (*made ? "an account was made for +" : "the password was changed and sign-ins ended for +") + nameOf(phone);
}

std::int64_t userOf(AccountStore& store, const PhoneNumber& phone) {
    if (const auto problem = Accounts::problemOf(phone))
        refuse(*problem);
    const auto known = store.find(phone);
    if (!known)
        throw std::runtime_error("there is no account for +" + nameOf(phone));
    return known->user.id;
}

std::string deleteAccount(AccountStore& store, const PhoneNumber& phone) {
    store.remove(userOf(store, phone));
    return "the account was deleted of +" + nameOf(phone);
}

std::string endSignIns(AccountStore& store, const std::optional<PhoneNumber>& phone) {
    if (phone)
        store.endSessionsOf(userOf(store, *phone));
    else
        store.endAllSessions();
    return phone ? "the sign-ins ended of +" + nameOf(*phone) : "all sign-ins ended";
}

void list(AccountStore& store, std::ostream& output) {
    for (const auto& account : store.list())
        output << "+" << nameOf(account.phone) << ", made " << localTime(account.createdAt) << ", last sign-in "
               << (account.lastLoginAt == 0 ? "never" : localTime(account.lastLoginAt)) << ", " << account.openSessions
               << " open, " << (account.hasResume ? "with a résumé" : "no résumé") << "\n";
}

} // namespace

void carryOut(const AccountCommand& command, const std::filesystem::path& data, std::chrono::seconds sessionLife,
              std::istream& input, std::ostream& output) {
    if (!std::filesystem::exists(data))
        throw std::runtime_error("there is no directory " + data.string() +
                                 "; the service makes it at its first start");
    requirePrivateDirectory(data);
    Database database(data / "parlowen.db");
    Accounts accounts(database, std::chrono::steady_clock::now, sessionLife);
    const std::string end = " in " + data.string() + "\n";
    // As people write it, which its parts may still be.
    const auto phone =
        command.number ? std::optional(Credentials{command.number->countryCode, command.number->number, ""}.number())
                       : std::nullopt;
    switch (command.what) {
    case AccountCommand::What::List:
        return list(accounts.store(), output);
    case AccountCommand::What::SetPassword:
        output << setPassword(accounts, phone.value(), readPassword(input, output)) << end;
        return;
    case AccountCommand::What::Delete:
        output << deleteAccount(accounts.store(), phone.value()) << end;
        return;
    case AccountCommand::What::EndSignIns:
        output << endSignIns(accounts.store(), phone) << end;
        return;
    }
}

} // namespace parlowen::service
