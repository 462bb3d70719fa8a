#pragma once

#include "AccountStore.h"
#include "FailureLimit.h"

#include <variant>

namespace parlowen::service {

/// What a sign-in page sends.
struct Credentials {
    std::string countryCode;
    std::string phone;
    std::string password;
};

struct SignedIn {
    User user;
    std::string token; ///< the only time that it is known
};

struct Refused {
    enum class Reason { Input = 1001, WrongPassword = 1002, TooManyFailures = 1003 };
    Reason reason; ///< its number is the reply's code
    std::string message;
};

/// Sign-in by password and random bearer tokens. Thread-safe.
class Accounts {
public:
    explicit Accounts(Database& database, FailureLimit::Clock clock = std::chrono::steady_clock::now);

    /// Signs in; where `mayCreate` is set, a number that is not known yet gets its account by this. Blocks for the
    /// hashing. Throws StoreError.
    std::variant<SignedIn, Refused> signIn(const Credentials& credentials, bool mayCreate);
    /// The user that a token stands for. Throws StoreError.
    std::optional<User> userOf(std::string_view token);
    /// Makes a token worthless. Throws StoreError.
    void signOut(std::string_view token);

private:
    std::variant<SignedIn, Refused> checkPassword(const PhoneNumber& phone, const AccountStore::KnownUser& known,
                                                  const std::string& password);
    Refused wrongPassword(const PhoneNumber& phone);

    AccountStore store_;
    FailureLimit limit_;
};

} // namespace parlowen::service
