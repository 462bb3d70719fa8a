#include "AccountCommands.h"

#include "Accounts/Accounts.h"
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

} // namespace

void setPassword(const std::filesystem::path& data, const PhoneNumber& phone, std::istream& input,
                 std::ostream& output) {
    if (!std::filesystem::exists(data))
        throw std::runtime_error("there is no directory " + data.string() +
                                 "; the service makes it at its first start");
    requirePrivateDirectory(data);
    Database database(data / "parlowen.db");
    Accounts accounts(database);
    const auto made = accounts.setPassword({phone.countryCode, phone.number, readPassword(input, output)});
    if (!made)
        throw std::runtime_error(inEnglish(made.error().message).value_or(made.error().message));
    output << (*made ? "an account was made for +" : "the password was changed and sign-ins ended for +")
           << nameOf(phone) << " in " << data.string() << "\n";
}

} // namespace parlowen::service
